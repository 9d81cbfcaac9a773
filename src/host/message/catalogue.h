// The catalogue of numbered messages: level, text with typed places, and a hint; one file a group.
//
// A place is {text}, {integer} or {real}; arguments fill the places in order. {s} behind an {integer} makes a plural:
// it is an "s" unless the last integer before it was 1. The host's rooms report through report(), the module through
// xpmlog() and its sisters, and both end in one log.
#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>

#include "frame/host_message.h"
#include "host/message/log.h"

namespace vek {

struct CatalogueRow {
    int number = 0;
    Level level = Level::note;
    std::string_view text;
    std::string_view hint = {};  ///< a sentence on what to do next; empty when the text says it
    bool at_word = false;        ///< it is about the first argument where that stands as a word of the statement
};

struct CatalogueGroup {
    int group = 0;
    std::span<const CatalogueRow> rows;  ///< by ascending number
};

/// All groups, ascending.
std::span<const CatalogueGroup> catalogue();

/// Null when the catalogue has no such message.
const CatalogueRow* find_message(int group, int number);

/// The text of a message with its arguments in their places; a place without an argument stays empty. A message that is
/// not in the catalogue gives a text of its group, number and arguments. That every call has a row with as many places
/// as it has arguments is checked by tools/check_messages.
std::string format_message(int group, int number, MessageArguments arguments);

// A room adds its group as message/group_NUMBER.h with an array group_NUMBER and a static_assert(sound(...)), and a
// line in catalogue.cpp.

/// Arguments for report(), where they live to the end of the call: report(900, 3, arguments(name, 4), place).
template <class... A>
std::array<MessageArgument, sizeof...(A)> arguments(const A&... list) {
    return {MessageArgument(list)...};
}

/// A message as an entry of the log, with its level and hint from the catalogue.
LogEntry make_entry(int group, int number, MessageArguments arguments, const Place& place, std::string suggest = {},
                    std::string excerpt = {});

/// Writes a message of the host to the log. The hint of the catalogue follows the excerpt.
void report(int group, int number, MessageArguments arguments, const Place& place, std::string suggest = {},
            std::string excerpt = {});

/// True when each row's places are well formed: a test of the whole catalogue, and a static_assert in each group file.
constexpr bool sound(std::span<const CatalogueRow> rows) {
    int last = -1;
    for (const CatalogueRow& row : rows) {
        if (row.number <= last || row.text.empty()) return false;
        // An error is a phrase; a note below a table is a sentence.
        if (row.level == Level::error && row.text.back() == '.') return false;
        last = row.number;
        std::string_view rest = row.text;
        bool counted = false;
        for (std::size_t open = rest.find('{'); open != std::string_view::npos; open = rest.find('{')) {
            rest.remove_prefix(open);
            const std::size_t close = rest.find('}');
            if (close == std::string_view::npos) return false;
            const std::string_view place = rest.substr(0, close + 1);
            if (place != "{text}" && place != "{integer}" && place != "{real}" && place != "{s}") return false;
            if (place == "{s}" && !counted) return false;
            counted = counted || place == "{integer}";
            rest.remove_prefix(close + 1);
        }
    }
    return true;
}

}  // namespace vek
