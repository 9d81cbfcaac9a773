// Laws of programs: places lie in the program, suggestions are applicable, a program with an error says so.
#include "statement_laws.h"

#include <utf8proc.h>

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "host/message/catalogue.h"
#include "support/program_support.h"

namespace vek::test {

namespace {

std::vector<std::string_view> lines_of(std::string_view text) {
    std::vector<std::string_view> lines;
    for (;;) {
        const std::size_t end = text.find('\n');
        lines.push_back(text.substr(0, end));
        if (end == std::string_view::npos) return lines;
        text.remove_prefix(end + 1);
    }
}

/// Characters of a line; a byte that begins none counts as one.
int characters(std::string_view line) {
    int count = 0;
    while (!line.empty()) {
        utf8proc_int32_t code = 0;
        const auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(line.data()),
                                             static_cast<utf8proc_ssize_t>(line.size()), &code);
        line.remove_prefix(length > 0 ? static_cast<std::size_t>(length) : 1);
        ++count;
    }
    return count;
}

}  // namespace

std::string broken_law(std::string_view program, bool interactive) {
    const std::vector<LogEntry> entries = run_text(program, interactive);
    const std::vector<std::string_view> lines = lines_of(program);
    std::set<std::pair<int, int>> places;
    for (const LogEntry& e : entries) {
        const CatalogueRow* row = find_message(e.group, e.number);
        if (row == nullptr) return "a message that is not in the catalogue: " + e.text;
        if (e.text.find('{') != std::string::npos && row->text.find("{text}") == std::string_view::npos) {
            return "a place of a message that was not filled: " + e.text;
        }
        if (e.place.file != "test.vek") continue;
        if (e.place.line < 1 || e.place.line > static_cast<int>(lines.size()))
            return "a line that is not there: " + e.text;
        // TRIAL stands for a longer path while the program runs, which moves what stands behind it.
        const std::string_view line = lines[static_cast<std::size_t>(e.place.line) - 1];
        const bool moved = line.find("TRIAL") != std::string_view::npos;
        const int end = e.place.column + e.place.length - 1;
        if (e.place.column < 1 || (!moved && end > characters(line) + 1))
            return "a column that is not there: " + e.text;
        if (e.level != Level::error || e.group < 900 || e.group >= 930) continue;
        if (e.excerpt.find('^') == std::string::npos) return "an error without its line: " + e.text;
        if (!places.emplace(e.place.line, e.place.column).second) return "two errors at one place: " + e.text;
    }
    return {};
}

}  // namespace vek::test
