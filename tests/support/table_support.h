// A report of its own for each test, and its listing and JSON document as values.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "frame/table.h"
#include "host/message/log.h"
#include "host/table/report.h"
#include "host/table/service.h"

namespace vek::test {

/// A step with an output manager. The report of the process is emptied before and after.
struct TableStep {
    HostObject* root = nullptr;
    HostObject* out = nullptr;

    TableStep() {
        clear();
        tables().begin_step("VEK", 1);
        xobinit(&root, 0);
        out = make_manager(root);
    }
    ~TableStep() { clear(); }

    static void clear() {
        tables().end_step();
        tables().set_title(1, {});
        tables().cut_back(tables().report().begin());
        tables().render_listing([](std::string_view) {}, 100);
        host_log().clear();
    }
};

inline std::string listing(int width = 100) {
    std::string text;
    tables().render_listing([&](std::string_view part) { text.append(part); }, width);
    return text;
}

inline nlohmann::json json_tables() {
    std::string text;
    JsonWriter json([&](std::string_view part) { text.append(part); });
    json.begin_array();
    tables().write_json(json);
    json.end_array();
    json.flush();
    return nlohmann::json::parse(text);
}

inline std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t from = 0;
    while (from < text.size()) {
        const std::size_t end = std::min(text.find('\n', from), text.size());
        lines.push_back(text.substr(from, end - from));
        from = end + 1;
    }
    return lines;
}

/// The first line that begins with `start`, or an empty one.
inline std::string line_with(const std::string& text, std::string_view start) {
    for (const std::string& line : lines_of(text)) {
        if (line.starts_with(start)) return line;
    }
    return {};
}

}  // namespace vek::test
