// Data sets in tests: files written for a test, references as a statement has them, whole data sets as text, and the
// log's messages by number.
#pragma once

#include <doctest/doctest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "frame/host_data.h"
#include "host/data/dataset.h"
#include "host/data/reference.h"
#include "host/message/log.h"
#include "host/session/session.h"
#include "host/storage/leave.h"
#include "host/storage/pool.h"
#include "numeric/missing.h"

namespace vek::test {

/// A step without a program, in a folder of its own that goes with it.
class DataStep {
  public:
    DataStep() {
        session().reset_for_test();
        begin_step_pools();
        reset_data();
        begin_step_data();
        host_log().clear();
        std::string pattern = (std::filesystem::temp_directory_path() / "vek-test-XXXXXX").string();
        folder_ = mkdtemp(pattern.data());
    }
    DataStep(const DataStep&) = delete;
    DataStep& operator=(const DataStep&) = delete;
    ~DataStep() {
        end_step_data();
        reset_data();
        session().reset_for_test();
        std::filesystem::remove_all(folder_);
    }

    std::string path(const std::string& name) const { return folder_ + "/" + name; }
    const std::string& folder() const { return folder_; }

    std::string write(const std::string& name, std::string_view bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
        return path(name);
    }

    /// Opens what a reference names; `text` is the reference as in a statement.
    DataSet* open(const std::string& text) const {
        Scanner scanner("test.vek", text + ";");
        TokenCursor cursor(&scanner);
        cursor.load();
        DataReference reference;
        DataSet* data = nullptr;
        if (parse_reference(cursor, &reference)) {
            CHECK(cursor.at_end());
            data = open_input(reference, &cursor);
        }
        note_failure(cursor);
        return data;
    }
    DataSet* create(const std::string& text) const {
        Scanner scanner("test.vek", text + ";");
        TokenCursor cursor(&scanner);
        cursor.load();
        DataReference reference;
        DataSet* data = parse_reference(cursor, &reference) ? open_output(reference, &cursor) : nullptr;
        note_failure(cursor);
        return data;
    }
    /// Opens a file with these bytes; `options` as behind its path.
    DataSet* open_bytes(std::string_view bytes, const std::string& options = {},
                        const std::string& name = "d.csv") const {
        return open("'" + write(name, bytes) + "'" + options);
    }

  private:
    static void note_failure(const TokenCursor& cursor) {
        if (!cursor.failed()) return;
        const Failure& failure = cursor.failure();
        LogEntry entry;
        entry.level = Level::error;
        entry.group = failure.group;
        entry.number = failure.number;
        entry.place = cursor.place(failure.token);
        entry.text = failure.token.text;
        entry.suggest = failure.suggest;
        host_log().add(std::move(entry));
    }
    std::string folder_;
};

/// The log as words: "910/2@7" for message 2 of group 910 about line 7 (no @ without a line), parted by blanks.
inline std::string log_numbers() {
    std::string text;
    for (const LogEntry& entry : host_log().entries()) {
        if (!text.empty()) text += " ";
        text += std::to_string(entry.group) + "/" + std::to_string(entry.number);
        if (entry.place.line > 0) text += "@" + std::to_string(entry.place.line);
    }
    return text;
}

/// A value as a test writes it: numbers with all digits, texts between bars.
inline std::string cell(const Column& column, int row) {
    if (column.text != nullptr) {
        const TextValue& value = column.text[row];
        return "|" + std::string(value.length == 0 ? "" : value.data, static_cast<std::size_t>(value.length)) + "|";
    }
    const double value = column.number[row];
    if (wzmis(value)) return missing_code(value) == '.' ? "." : std::string(".") + missing_code(value);
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", value);
    return text;
}

/// The rows of the current group, cells parted by blanks; `places` shows each row's line in front.
inline std::vector<std::string> group_rows(DataSet* data, bool lines = false) {
    std::vector<std::string> rows;
    const int count = xvcount(data);
    FetchList* list = xvgeti(data, count);
    for (int v = 0; v < count; ++v) xvgetd(list, v);
    xvgete(list);
    std::vector<Column> columns(static_cast<std::size_t>(count));
    while (const int block = xybget(list, columns.data())) {
        for (int r = 0; r < block; ++r) {
            std::string row = lines ? std::to_string(xorow(list, r)) + ":" : "";
            for (const Column& column : columns) row += (row.empty() || row.back() == ':' ? "" : " ") + cell(column, r);
            rows.push_back(row);
        }
    }
    xvgett(list);
    return rows;
}

inline std::vector<std::string> all_rows(DataSet* data, bool lines = false) {
    REQUIRE(data != nullptr);
    const bool some = xbynext(data);
    REQUIRE(some);
    return group_rows(data, lines);
}

inline std::string joined(const std::vector<std::string>& rows, const char* between = "; ") {
    std::string text;
    for (const std::string& row : rows) text += (text.empty() ? "" : between) + row;
    return text;
}

/// Names and types: "a y:$3", where $3 is a text of 3 bytes.
inline std::string directory(const DataSet* data) {
    std::string text;
    for (int v = 0; v < xvcount(data); ++v) {
        const VariableDescriptor variable = xvname(data, v);
        if (v > 0) text += " ";
        text += variable.name;
        if (variable.type == VariableType::character) text += ":$" + std::to_string(variable.length);
    }
    return text;
}

/// Runs something that may leave the step; its code, or 0.
template <class Action>
int left_with(const Action& action) {
    try {
        action();
    } catch (const Leave& leave) {
        return leave.code;
    }
    return 0;
}

}  // namespace vek::test
