// The catalogue: finds a message by group and number and puts its arguments into the places of its text.
#include "host/message/catalogue.h"

#include <algorithm>

#include "host/message/group_172.h"
#include "host/message/group_183.h"
#include "host/message/group_930.h"
#include "host/message/group_shared.h"
#include "host/message/number_text.h"
#if __has_include("host/message/group_900.h")
#include "host/message/group_900.h"
#define VEK_GROUP_900 {900, group_900},
#else
#define VEK_GROUP_900
#endif
#if __has_include("host/message/group_910.h")
#include "host/message/group_910.h"
#define VEK_GROUP_910 {910, group_910},
#else
#define VEK_GROUP_910
#endif
#if __has_include("host/message/group_920.h")
#include "host/message/group_920.h"
#define VEK_GROUP_920 {920, group_920},
#else
#define VEK_GROUP_920
#endif
#if __has_include("host/message/group_940.h")
#include "host/message/group_940.h"
#define VEK_GROUP_940 {940, group_940},
#else
#define VEK_GROUP_940
#endif

namespace vek {

namespace {

constexpr CatalogueGroup groups[] = {{0, group_000},   {129, group_129},
                                     {172, group_172}, {183, group_183},
                                     {193, group_193}, {211, group_211},
                                     {212, group_212}, {257, group_257},
                                     {278, group_278}, VEK_GROUP_900 VEK_GROUP_910 VEK_GROUP_920{930, group_930},
                                     VEK_GROUP_940};

void append_argument(std::string* out, std::string_view place, const MessageArgument& argument) {
    switch (argument.kind) {
        case MessageArgument::Kind::text:
            out->append(argument.text);
            return;
        case MessageArgument::Kind::integer:
            out->append(std::to_string(argument.integer));
            return;
        case MessageArgument::Kind::real:
            out->append(place == "{integer}" ? best_text(argument.real, 20) : best_text(argument.real, 12));
            return;
    }
}

std::string unknown_message(int group, int number, MessageArguments list) {
    std::string out = "message " + std::to_string(group) + "/" + std::to_string(number);
    for (const MessageArgument& argument : list) append_argument(&out.append(" "), "{text}", argument);
    return out;
}

std::string fill(std::string_view text, MessageArguments list) {
    std::string out;
    out.reserve(text.size() + 32);
    std::size_t next = 0;
    bool one = false;  // the last integer was 1
    while (!text.empty()) {
        const std::size_t open = text.find('{');
        out.append(text.substr(0, open));
        if (open == std::string_view::npos) break;
        const std::size_t close = text.find('}', open);
        const std::string_view place = text.substr(open, close - open + 1);
        if (place == "{s}") {
            if (!one) out.push_back('s');
        } else if (next < list.size()) {
            const MessageArgument& argument = list[next++];
            if (place == "{integer}") {
                one = argument.kind == MessageArgument::Kind::integer ? argument.integer == 1 : argument.real == 1;
            }
            append_argument(&out, place, argument);
        }
        text.remove_prefix(close + 1);
    }
    // A place at the end may be empty, such as the label of a variable that has none.
    if (!list.empty()) {
        while (!out.empty() && out.back() == ' ') out.pop_back();
    }
    return out;
}

}  // namespace

std::span<const CatalogueGroup> catalogue() { return groups; }

const CatalogueRow* find_message(int group, int number) {
    for (const CatalogueGroup& g : groups) {
        if (g.group != group) continue;
        const auto row = std::lower_bound(g.rows.begin(), g.rows.end(), number,
                                          [](const CatalogueRow& r, int n) { return r.number < n; });
        return row != g.rows.end() && row->number == number ? &*row : nullptr;
    }
    return nullptr;
}

std::string format_message(int group, int number, MessageArguments list) {
    const CatalogueRow* row = find_message(group, number);
    return row == nullptr ? unknown_message(group, number, list) : fill(row->text, list);
}

LogEntry make_entry(int group, int number, MessageArguments list, const Place& place, std::string suggest,
                    std::string excerpt) {
    const CatalogueRow* row = find_message(group, number);
    if (row != nullptr && !row->hint.empty()) {
        if (!excerpt.empty() && excerpt.back() != '\n') excerpt.push_back('\n');
        excerpt.append(row->hint);
    }
    return {row == nullptr ? Level::error : row->level,
            group,
            number,
            format_message(group, number, list),
            place,
            std::move(suggest),
            std::move(excerpt)};
}

void report(int group, int number, MessageArguments list, const Place& place, std::string suggest,
            std::string excerpt) {
    host_log().add(make_entry(group, number, list, place, std::move(suggest), std::move(excerpt)));
}

// ---- what the module calls --------------------------------------------------------------------------------------

std::string message_text(int group, int number, MessageArguments list) { return format_message(group, number, list); }

}  // namespace vek
