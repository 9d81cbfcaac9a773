// Checks a run against the lines of an expect file: cells of tables, messages, files, exit status.
#include "expect.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace vek::test {

namespace {

using nlohmann::json;

std::vector<std::string> split_words(const std::string& text) {
    std::vector<std::string> words;
    std::size_t i = 0;
    while (i < text.size()) {
        if (std::isspace(static_cast<unsigned char>(text[i])) != 0) {
            ++i;
        } else if (text[i] == '"') {
            std::size_t end = text.find('"', i + 1);
            end = std::min(end, text.size());
            words.push_back(text.substr(i + 1, end - i - 1));
            i = end + 1;
        } else {
            const std::size_t end = std::min(text.find_first_of(" \t", i), text.size());
            words.push_back(text.substr(i, end - i));
            i = end;
        }
    }
    return words;
}

std::optional<double> number_of(const std::string& text) {
    double value = 0;
    const char* begin = text.data() + (!text.empty() && text[0] == '+' ? 1 : 0);
    const auto done = std::from_chars(begin, text.data() + text.size(), value);
    if (done.ec != std::errc() || done.ptr != text.data() + text.size()) return std::nullopt;
    return value;
}

/// A table as a line names it: [var=value,...] for BY, STEP: for the step, folders with slashes, NAME, @KEY for a block
/// of stacked matrices, #N for the nth that fits.
struct TableName {
    std::vector<std::pair<std::string, std::string>> by;
    int step = 0;
    std::vector<std::string> folders;
    std::string name, block;
    int nth = 1;
};

TableName parse_table(std::string text) {
    TableName out;
    if (!text.empty() && text[0] == '[') {
        const std::size_t end = text.find(']');
        std::istringstream pairs(text.substr(1, end - 1));
        for (std::string pair; std::getline(pairs, pair, ',');) {
            const std::size_t equal = pair.find('=');
            out.by.emplace_back(pair.substr(0, equal), pair.substr(equal + 1));
        }
        text = text.substr(end + 1);
    }
    if (const std::size_t hash = text.rfind('#'); hash != std::string::npos) {
        out.nth = std::stoi(text.substr(hash + 1));
        text.resize(hash);
    }
    if (const std::size_t at = text.rfind('@'); at != std::string::npos) {
        out.block = text.substr(at + 1);
        text.resize(at);
    }
    if (const std::size_t colon = text.find(':');
        colon != std::string::npos && colon > 0 && text.find_first_not_of("0123456789") == colon) {
        out.step = std::stoi(text.substr(0, colon));
        text = text.substr(colon + 1);
    }
    std::istringstream parts(text);
    for (std::string part; std::getline(parts, part, '/');) out.folders.push_back(part);
    out.name = out.folders.back();
    out.folders.pop_back();
    return out;
}

bool fits(const json& table, const TableName& wanted) {
    if (table.at("name") != wanted.name) return false;
    if (wanted.step != 0 && table.at("step") != wanted.step) return false;
    for (const auto& [variable, value] : wanted.by) {
        if (!table.at("by").contains(variable) || table.at("by").at(variable) != value) return false;
    }
    // The folders of the name stand in the table's path in this order.
    const json& path = table.at("path");
    std::size_t next = 0;
    for (const json& folder : path) {
        if (next < wanted.folders.size() && folder == wanted.folders[next]) ++next;
    }
    return next == wanted.folders.size();
}

const json* find_table(const Outcome& outcome, const TableName& wanted) {
    int left = wanted.nth;
    if (!outcome.document.is_object()) return nullptr;
    for (const json& table : outcome.document.at("tables")) {
        if (!fits(table, wanted) || --left > 0) continue;
        if (wanted.block.empty()) return &table;
        for (const json& block : table.at("blocks")) {
            if (block.at("key") == wanted.block) return &block;
        }
        return nullptr;
    }
    return nullptr;
}

std::string trimmed(std::string text) {
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text.substr(std::min(text.find_first_not_of(' '), text.size()));
}

std::string cell_text(const json& cell) { return cell.is_string() ? trimmed(cell.get<std::string>()) : cell.dump(); }

/// The row whose first cells read as the wanted texts joined by |, or the nth row for #N.
const json* find_row(const json& table, const std::string& wanted) {
    const json& rows = table.at("rows");
    if (wanted.size() > 1 && wanted[0] == '#') {
        const auto n = static_cast<std::size_t>(std::stoi(wanted.substr(1)));
        return n >= 1 && n <= rows.size() ? &rows.at(n - 1) : nullptr;
    }
    const auto parts = static_cast<std::size_t>(std::count(wanted.begin(), wanted.end(), '|')) + 1;
    for (const json& row : rows) {
        // A row is found by cells that follow each other, wherever they begin.
        for (std::size_t start = 0; start + parts <= row.size(); ++start) {
            std::string key = cell_text(row.at(start));
            for (std::size_t i = 1; i < parts; ++i) key += "|" + cell_text(row.at(start + i));
            if (key == wanted) return &row;
            if (parts == 1 && row.at(start).is_string()) break;  // one name: the first text of the row
        }
    }
    return nullptr;
}

std::optional<std::size_t> find_column(const json& table, const std::string& wanted) {
    const json& columns = table.at("columns");
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const json& column = columns.at(i);
        if ((column.is_object() ? column.at("name") : column) == wanted) return i;
    }
    return std::nullopt;
}

std::string compare(const json& cell, const std::string& expected, double tolerance) {
    const auto number = number_of(expected);
    if (!cell.is_number() || !number) {
        if (cell_text(cell) == expected) return {};
        return "is " + cell_text(cell) + ", not " + expected;
    }
    const double value = cell.get<double>();
    const double error = *number == 0 ? std::fabs(value) : std::fabs(value - *number) / std::fabs(*number);
    if (error <= tolerance) return {};
    std::ostringstream text;
    text.precision(17);
    text << "is " << value << ", not " << expected << "; off by " << std::scientific << error << ", tolerance "
         << tolerance;
    return text.str();
}

std::string check_cell(const Line& line, const Outcome& outcome) {
    if (line.words.size() < 5 || line.words.size() > 6) return "cell needs TABLE ROW COLUMN VALUE [TOLERANCE]";
    const json* table = find_table(outcome, parse_table(line.words[1]));
    if (table == nullptr) return "no such table";
    const json* row = find_row(*table, line.words[2]);
    if (row == nullptr) return "no such row";
    const auto column = find_column(*table, line.words[3]);
    if (!column) return "no such column";
    const double tolerance = line.words.size() == 6 ? number_of(line.words[5]).value_or(0) : 0;
    return compare(row->at(*column), line.words[4], tolerance);
}

std::string check_rows(const Line& line, const Outcome& outcome) {
    const json* table = find_table(outcome, parse_table(line.words.at(1)));
    if (table == nullptr) return "no such table";
    const std::size_t rows = table->at("rows").size();
    return std::to_string(rows) == line.words.at(2) ? "" : "has " + std::to_string(rows) + " rows";
}

/// True when one of the lines holds the text.
bool holds_text(const json& lines, const std::string& text) {
    return std::any_of(lines.begin(), lines.end(),
                       [&](const json& line) { return line.get<std::string>().find(text) != std::string::npos; });
}

/// no column TABLE COLUMN, no note TABLE TEXT, no title TABLE TEXT: of a table that is there.
std::string check_absence(const Line& line, const Outcome& outcome) {
    const std::string& what = line.words.at(1);
    const json* table = find_table(outcome, parse_table(line.words.at(2)));
    if (table == nullptr) return "no such table";
    if (what == "column") return find_column(*table, line.words.at(3)) ? "the column is there" : "";
    if (what != "note" && what != "title") return "no needs table, column, note or title";
    return holds_text(table->at(what + "s"), line.words.at(3)) ? "the " + what + " is there" : "";
}

std::string check_table(const Line& line, const Outcome& outcome) {
    const bool wanted = line.words.at(0) != "no";
    if (!wanted && line.words.at(1) != "table") return check_absence(line, outcome);
    const TableName name = parse_table(line.words.at(wanted ? 1 : 2));
    const bool there = find_table(outcome, name) != nullptr;
    return there == wanted ? "" : wanted ? "no such table" : "the table is there";
}

std::string check_title(const Line& line, const Outcome& outcome) {
    const json* table = find_table(outcome, parse_table(line.words.at(1)));
    if (table == nullptr) return "no such table";
    const std::string& key = line.words.at(0);
    return holds_text(table->at(key == "note" ? "notes" : "titles"), line.words.at(2)) ? "" : "no such " + key;
}

std::string check_file(const Line& line, const Outcome& outcome, const std::string& case_folder) {
    const std::string path = outcome.folder + "/" + line.words.at(1);
    const std::string& what = line.words.at(2);
    const bool exists = std::filesystem::exists(path);
    if (what == "absent") return exists ? "the file is there" : "";
    if (!exists) return "no such file";
    const std::string text = contents(path);
    if (what == "equals") return text == contents(case_folder + "/" + line.words.at(3)) ? "" : "differs";
    if (what == "contains") return text.find(line.words.at(3)) != std::string::npos ? "" : "does not hold the text";
    if (what == "lines") {
        const auto lines = std::count(text.begin(), text.end(), '\n');
        return std::to_string(lines) == line.words.at(3) ? "" : "has " + std::to_string(lines) + " lines";
    }
    return "file needs absent, equals, contains or lines";
}

std::string check_stream(const Line& line, const Outcome& outcome) {
    const std::string& text = line.words.at(0) == "stdout" ? outcome.out : outcome.err;
    const std::string& what = line.words.at(1);
    const bool found = text.find(line.words.at(2)) != std::string::npos;
    if (what != "contains" && what != "lacks") return "stdout and stderr need contains or lacks";
    return found == (what == "contains") ? "" : "the text is:\n" + text;
}

/// log LEVEL GROUP NUMBER [at FILE:LINE:COLUMN | at LINE:COLUMN | at LINE] [suggest TEXT] [text PART] [times N]
struct LogLine {
    std::string level;
    int group = 0, number = 0;
    std::string place, suggest, part;
    int times = 1;
    bool has_suggest = false;
};

LogLine parse_log(const Line& line) {
    LogLine out;
    out.level = line.words.at(1);
    out.group = std::stoi(line.words.at(2));
    out.number = std::stoi(line.words.at(3));
    for (std::size_t i = 4; i + 1 < line.words.size(); i += 2) {
        const std::string& key = line.words[i];
        const std::string& value = line.words[i + 1];
        if (key == "at") out.place = value;
        if (key == "text") out.part = value;
        if (key == "times") out.times = std::stoi(value);
        if (key == "suggest") {
            out.suggest = value;
            out.has_suggest = true;
        }
    }
    return out;
}

bool fits(const json& entry, const LogLine& wanted) {
    if (entry.at("level") != wanted.level || entry.at("group") != wanted.group) return false;
    if (entry.at("number") != wanted.number) return false;
    if (!wanted.place.empty()) {
        const std::string file = entry.contains("file") ? entry.at("file").get<std::string>() + ":" : "";
        const std::string line = entry.contains("line") ? std::to_string(entry.at("line").get<int>()) : "";
        const std::string column =
            entry.contains("column") ? ":" + std::to_string(entry.at("column").get<int>()) : std::string();
        const std::string forms[] = {line, file + line, line + column, file + line + column};
        if (std::find(std::begin(forms), std::end(forms), wanted.place) == std::end(forms)) return false;
    }
    if (wanted.has_suggest && (!entry.contains("suggest") || entry.at("suggest") != wanted.suggest)) return false;
    return entry.at("text").get<std::string>().find(wanted.part) != std::string::npos;
}

/// Each message above a note has to be expected, and each expected message has to be there.
void check_log(const std::vector<Line>& lines, const Outcome& outcome, std::vector<std::string>* faults) {
    if (!outcome.document.is_object()) return;
    const json& log = outcome.document.at("log");
    std::vector<bool> expected(log.size(), false);
    bool any = false;
    for (const Line& line : lines) {
        if (line.words[0] != "log") continue;
        if (line.words.at(1) == "any") any = true;
        if (line.words.size() < 4 || line.words[1] == "none") continue;
        const LogLine wanted = parse_log(line);
        int found = 0;
        for (std::size_t i = 0; i < log.size(); ++i) {
            if (!fits(log.at(i), wanted)) continue;
            ++found;
            expected[i] = true;
        }
        if (found != wanted.times) {
            faults->push_back("expect:" + std::to_string(line.number) + ": " + line.text + ": found " +
                              std::to_string(found) + " times");
        }
    }
    for (std::size_t i = 0; i < log.size() && !any; ++i) {
        if (!expected[i] && log.at(i).at("level") != "note") faults->push_back("not expected: " + log.at(i).dump());
    }
}

/// Lines that were used before or tell about the test itself.
bool is_setting(const std::string& word) {
    return word == "source" || word == "run" || word == "log" || word == "listing" || word == "input";
}

std::string check_line(const Line& line, const Outcome& outcome, const std::string& case_folder) {
    const std::string& what = line.words[0];
    if (is_setting(what)) return {};
    if (what == "exit") {
        return std::to_string(outcome.exit) == line.words.at(1) ? "" : "exit is " + std::to_string(outcome.exit);
    }
    if (what == "cell") return check_cell(line, outcome);
    if (what == "rows") return check_rows(line, outcome);
    if (what == "table" || what == "no") return check_table(line, outcome);
    if (what == "title" || what == "note") return check_title(line, outcome);
    if (what == "file") return check_file(line, outcome, case_folder);
    if (what == "stdout" || what == "stderr") return check_stream(line, outcome);
    return "no such line; tests/programs/README.md tells what there is";
}

}  // namespace

std::string contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::vector<Line> read_expect(const std::string& path) {
    std::ifstream file(path);
    if (!file) throw std::runtime_error("cannot read " + path);
    std::vector<Line> lines;
    std::string text;
    for (int number = 1; std::getline(file, text); ++number) {
        const std::vector<std::string> words = split_words(text);
        if (words.empty() || words[0][0] == '#') continue;
        lines.push_back({number, words, text});
    }
    return lines;
}

std::vector<std::string> check(const std::vector<Line>& lines, const Outcome& outcome, const std::string& case_folder) {
    std::vector<std::string> faults;
    bool has_source = false, has_tolerance = false;
    for (const Line& line : lines) {
        has_source = has_source || line.words[0] == "source";
        has_tolerance = has_tolerance || (line.words[0] == "cell" && line.words.size() == 6);
        std::string fault;
        try {
            fault = check_line(line, outcome, case_folder);
        } catch (const std::exception& e) {
            fault = e.what();
        }
        if (!fault.empty()) faults.push_back("expect:" + std::to_string(line.number) + ": " + line.text + ": " + fault);
    }
    if (has_tolerance && !has_source) faults.push_back("a number with a tolerance needs a source line");
    try {
        check_log(lines, outcome, &faults);
    } catch (const std::exception& e) {
        faults.push_back(std::string("log: ") + e.what());
    }
    return faults;
}

}  // namespace vek::test
