// The plain reader, and the comparison with the real one: refused or not, names, types, lengths, values, lines.
#include "host/data_oracle.h"

#include <cstring>
#include <set>
#include <vector>

#include "host/data/number.h"
#include "host/data/row_source.h"
#include "host/message/log.h"
#include "host/statement/scanner.h"
#include "numeric/missing.h"

namespace vek::test {

namespace {

struct Row {
    long line = 0;
    std::vector<std::string> cells;
};

/// Characters to rows; false when a rule is broken.
bool plain_rows(std::string_view bytes, char delimiter, std::vector<Row>* rows) {
    enum class At { field_start, plain, quoted, quote_in_quoted };
    At at = At::field_start;
    Row row;
    std::string cell;
    long line = 1;
    row.line = line;
    bool anything = false;  // the row has a character
    const auto end_row = [&] {
        row.cells.push_back(cell);
        const bool blank = !anything;
        const std::size_t columns = rows->empty() ? 0 : rows->front().cells.size();
        if (blank && rows->empty()) return false;
        if (!blank || columns == 1) {
            if (columns != 0 && row.cells.size() != columns) return false;
            rows->push_back(row);
        }
        row = {};
        cell.clear();
        anything = false;
        at = At::field_start;
        return true;
    };
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const char c = bytes[i];
        if (c == '\0') return false;
        const bool feed = c == '\n' || (c == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n');
        if (at == At::quoted) {
            if (c == '"') {
                at = At::quote_in_quoted;
            } else {
                cell += c;
                if (c == '\n') ++line;
            }
        } else if (at == At::quote_in_quoted && c == '"') {
            cell += c;
            at = At::quoted;
        } else if (feed) {
            if (c == '\r') ++i;
            if (!end_row()) return false;
            row.line = ++line;
        } else if (c == '\r') {
            return false;
        } else if (c == delimiter) {
            anything = true;
            row.cells.push_back(cell);
            cell.clear();
            at = At::field_start;
        } else if (at == At::quote_in_quoted) {
            return false;
        } else if (c == '"') {
            if (at != At::field_start) return false;
            anything = true;
            at = At::quoted;
        } else {
            anything = true;
            cell += c;
            at = At::plain;
        }
    }
    if (at == At::quoted) return false;
    return !anything || end_row();
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
    return text;
}

std::string text_of(std::string cell) {
    while (!cell.empty() && cell.back() == ' ') cell.pop_back();
    const std::string_view inside = trimmed(cell);
    return inside.empty() || inside == "." || inside == "NA" ? std::string() : cell;
}

FieldKind kind_of(const std::string& cell, char point, double* value) { return read_number(cell, point, value); }

/// True when names stand in one field that seems to have another separator.
bool other_separator(std::string_view bytes, char delimiter) {
    const std::string_view header = bytes.substr(0, bytes.find('\n'));
    if (header.find(delimiter) != std::string_view::npos || (!header.empty() && header.front() == '"')) return false;
    std::string_view next = bytes.substr(std::min(bytes.size(), header.size() + 1));
    next = next.substr(0, next.find('\n'));
    for (const char c : {';', '\t', '|', ','}) {
        if (header.find(c) != std::string_view::npos && (next.empty() || next.find(c) != std::string_view::npos))
            return true;
    }
    return false;
}

bool names_are_good(std::vector<std::string>* names) {
    std::set<std::string> seen;
    for (std::size_t c = 0; c < names->size(); ++c) {
        std::string& name = (*names)[c];
        name = trimmed(name);
        if (name.empty()) name = "column_" + std::to_string(c + 1);
        long characters = 0;
        for (const char byte : name) characters += (byte & '\xC0') != '\x80';
        if (characters > longest_name || !seen.insert(folded_name(name)).second) return false;
    }
    return true;
}

/// What the plain reader makes of a file.
struct Plain {
    bool good = false;
    std::vector<std::string> names;
    std::vector<bool> numeric;
    std::vector<Row> rows;
};

Plain read_plainly(std::string_view bytes, const FileForm& form) {
    Plain plain;
    if (find_invalid_utf8(bytes) != std::string_view::npos || !plain_rows(bytes, form.delimiter, &plain.rows))
        return plain;
    if (plain.rows.empty() || other_separator(bytes, form.delimiter)) return plain;
    plain.names = plain.rows.front().cells;
    plain.rows.erase(plain.rows.begin());
    if (!names_are_good(&plain.names)) return plain;
    const char other_point = form.decimal == ',' ? '.' : ',';
    for (std::size_t c = 0; c < plain.names.size(); ++c) {
        bool numeric = true, either = true, too_large = false;
        for (const Row& row : plain.rows) {
            double value = 0;
            const FieldKind kind = kind_of(row.cells[c], form.decimal, &value);
            numeric = numeric && kind != FieldKind::text;
            too_large = too_large || kind == FieldKind::too_large;
            either =
                either && (kind != FieldKind::text || kind_of(row.cells[c], other_point, &value) != FieldKind::text);
        }
        if (numeric ? too_large : either) return plain;
        plain.numeric.push_back(numeric);
    }
    plain.good = true;
    return plain;
}

}  // namespace

std::string reader_disagreement(std::string_view bytes, const FileForm& form) {
    // UTF-16 is the decoder's; a byte order mark of UTF-8 is no part of the text.
    if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF")) return {};
    Plain plain = read_plainly(bytes.substr(bytes.starts_with("\xEF\xBB\xBF") ? 3 : 0), form);
    if (bytes.starts_with("PK\x03\x04")) plain.good = false;  // a zip archive or a workbook is no text
    host_log().clear();
    const std::shared_ptr<DataFile> file = validated_bytes(memory_bytes(bytes), "fuzz", form);
    if ((file != nullptr) != plain.good) {
        std::string log;
        host_log().write_text(&log);
        return plain.good ? "refused although it is good: " + log : "taken although it is not good";
    }
    if (host_log().has_error() == plain.good) return "the log does not agree with the outcome";
    if (!plain.good) return {};
    if (file->variables.size() != plain.names.size()) return "number of columns";
    if (file->rows != static_cast<std::int64_t>(plain.rows.size())) return "number of rows";
    const std::unique_ptr<RowSource> rows = rows_of(file);
    std::size_t done = 0;
    std::vector<std::size_t> longest(plain.names.size(), 1);
    while (rows->next()) {
        for (std::size_t c = 0; c < plain.names.size(); ++c) {
            const int column = static_cast<int>(c);
            const double* numbers = plain.numeric[c] ? rows->numbers(column) : nullptr;
            const TextValue* texts = plain.numeric[c] ? nullptr : rows->texts(column);
            for (int r = 0; r < rows->rows(); ++r) {
                const std::size_t at = done + static_cast<std::size_t>(r);
                if (at >= plain.rows.size()) return "more rows than there are";
                const std::string& cell = plain.rows[at].cells[c];
                if (rows->line(r) != plain.rows[at].line) return "line of row " + std::to_string(at);
                if (numbers != nullptr) {
                    double value = missing;
                    kind_of(cell, form.decimal, &value);
                    if (std::memcmp(&value, numbers + r, sizeof value) != 0) return "number " + cell;
                } else {
                    const std::string text = text_of(cell);
                    const TextValue& got = texts[r];
                    longest[c] = std::max(longest[c], text.size());
                    if (std::string_view(got.length == 0 ? "" : got.data, static_cast<std::size_t>(got.length)) !=
                        text) {
                        return "text " + text;
                    }
                }
            }
        }
        done += static_cast<std::size_t>(rows->rows());
    }
    if (done != plain.rows.size()) return "fewer rows than there are";
    for (std::size_t c = 0; c < plain.names.size(); ++c) {
        const FileVariable& variable = file->variables[c];
        if (variable.name != plain.names[c]) return "name " + plain.names[c];
        if ((variable.type == VariableType::numeric) != plain.numeric[c]) return "type of " + plain.names[c];
        if (!plain.numeric[c] && variable.length != static_cast<int>(longest[c])) return "length of " + plain.names[c];
    }
    return {};
}

}  // namespace vek::test
