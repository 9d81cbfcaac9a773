// Small text helpers of the module: fixed-width, blank-padded fields.
#pragma once

#include <algorithm>
#include <string_view>

#include "frame/host_storage.h"

namespace vek {

/// A zero-terminated copy in a pool.
inline const char* pool_text(Pool* pool, std::string_view text) {
    char* copy = array<char>(pool, static_cast<std::int64_t>(text.size()) + 1);
    std::copy(text.begin(), text.end(), copy);
    return copy;
}

/// The text without trailing blanks.
constexpr std::string_view wzstrip(std::string_view text) {
    const auto last = text.find_last_not_of(' ');
    return last == std::string_view::npos ? std::string_view{} : text.substr(0, last + 1);
}

/// The text without leading and trailing blanks.
constexpr std::string_view wzstjus(std::string_view text) {
    const auto first = text.find_first_not_of(' ');
    return first == std::string_view::npos ? std::string_view{} : wzstrip(text.substr(first));
}

}  // namespace vek
