// Measures text in terminal columns with the tables of utf8proc, and breaks it into lines.
#include "host/table/text_width.h"

#include <utf8proc.h>

#include <algorithm>

#include "host/message/log.h"

namespace vek {

bool is_plain(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

namespace {

// One character at the start of the text: its length in bytes and its width in columns.
struct Step {
    std::size_t bytes = 1;
    int columns = 1;
};

Step step(std::string_view text) {
    if (text.front() >= ' ' && text.front() <= '~') return {};
    utf8proc_int32_t point = 0;
    const auto bytes = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                        static_cast<utf8proc_ssize_t>(text.size()), &point);
    if (bytes <= 0) return {};  // a byte that is no character takes the place of one
    return {static_cast<std::size_t>(bytes), std::max(utf8proc_charwidth(point), 0)};
}

}  // namespace

int text_width(std::string_view text) {
    if (is_plain(text)) return static_cast<int>(text.size());
    int columns = 0;
    while (!text.empty()) {
        const Step next = step(text);
        columns += next.columns;
        text.remove_prefix(next.bytes);
    }
    return columns;
}

std::string_view shown(std::string_view text, std::string& buffer) {
    if (is_plain(text)) return text;
    buffer = visible_text(text);
    return buffer;
}

std::vector<std::string> wrapped(std::string_view text, int width) {
    width = std::max(width, 1);
    std::vector<std::string> lines;
    while (text_width(text) > width) {
        // The longest beginning that fits, and the last blank in it.
        std::size_t fits = 0, blank = std::string_view::npos;
        int columns = 0;
        while (fits < text.size()) {
            const Step next = step(text.substr(fits));
            if (text[fits] == ' ' && fits > 0) blank = fits;
            if (columns + next.columns > width) break;
            columns += next.columns;
            fits += next.bytes;
        }
        std::size_t end = blank != std::string_view::npos ? blank : std::max(fits, step(text).bytes);
        // A beginning of blanks alone is an indent, not a place to break.
        if (text.substr(0, end).find_first_not_of(' ') == std::string_view::npos) end = std::max(fits, std::size_t{1});
        std::string_view line = text.substr(0, end);
        line = line.substr(0, line.find_last_not_of(' ') + 1);
        lines.emplace_back(line);
        text.remove_prefix(end);
        while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
    }
    if (!text.empty() || lines.empty()) lines.emplace_back(text);
    return lines;
}

int longest_word(std::string_view text) {
    int longest = 0;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(' '), text.size());
        longest = std::max(longest, text_width(text.substr(0, end)));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return longest;
}

void pad(std::string& out, int count) {
    if (count > 0) out.append(static_cast<std::size_t>(count), ' ');
}

}  // namespace vek
