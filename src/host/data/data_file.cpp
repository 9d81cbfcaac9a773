// Validation: one pass over a file that settles names, types and lengths, and reports the first thing that is wrong,
// with its line, the row and a mark under the place.
#include "host/data/data_file.h"

#include <utf8proc.h>

#include <algorithm>
#include <cctype>
#include <limits>
#include <unordered_set>

#include "host/data/formats.h"
#include "host/data/text_field.h"
#include "host/message/catalogue.h"
#include "host/statement/diagnostics.h"
#include "host/statement/scanner.h"

namespace vek {

namespace {

constexpr int group = 910;

std::size_t characters(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (c & '\xC0') != '\x80'; }));
}

/// Some characters of a line, and the line with a mark under them.
struct Mark {
    int column = 1, length = 1;
    std::string excerpt;
};

/// Bytes that are not UTF-8 are shown as a question mark.
Mark marked(std::string_view row, std::size_t begin, std::size_t length) {
    std::string clean(row);
    for (std::size_t bad = find_invalid_utf8(clean); bad != std::string::npos; bad = find_invalid_utf8(clean)) {
        clean[bad] = '?';
    }
    begin = std::min(begin, clean.size());
    const std::string_view view(clean);
    Mark mark;
    mark.column = static_cast<int>(characters(view.substr(0, begin))) + 1;
    mark.length = std::max(1, static_cast<int>(characters(view.substr(begin, length))));
    mark.excerpt = marked_line(clean, mark.column, mark.length);
    return mark;
}

std::string option_text(char c) { return c == '\t' ? "'\\t'" : std::string("'") + c + "'"; }

std::string shown_field(std::string_view field) {
    std::string text(cut_text(field, 40));
    if (text.size() < field.size()) text.append("...");
    return text;
}

/// A place in a data file; without a mark it is the beginning of the line.
Place in_file(const std::string& shown, std::int64_t line, const Mark& mark = {}) {
    Place place;
    place.file = shown;
    place.line = static_cast<int>(std::min<std::int64_t>(line, std::numeric_limits<int>::max()));
    place.column = mark.column;
    place.length = mark.length;
    place.in_data = true;
    return place;
}

bool same_letters(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
    });
}

/// Infinity, not-a-number and hexadecimal numbers: forms that other programs write for numbers, and that are none here.
bool foreign_number(std::string_view field) {
    if (!field.empty() && (field[0] == '-' || field[0] == '+')) field.remove_prefix(1);
    if (same_letters(field, "inf") || same_letters(field, "infinity") || same_letters(field, "nan")) return true;
    return field.size() > 2 && field[0] == '0' && (field[1] == 'x' || field[1] == 'X') &&
           std::all_of(field.begin() + 2, field.end(),
                       [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; });
}

/// A field that a message will be about, with its row.
struct Finding {
    std::int64_t line = 0;  ///< 0: nothing was found
    std::string field;
    Mark mark;
};

/// What the rows so far tell about a column.
struct ColumnState {
    bool numeric = true;
    bool any_number = false;  ///< in front of the first text
    std::size_t longest = 0;
    Finding text;              ///< the first field that is no number
    bool foreign = false;      ///< that field is a number in another language
    bool other_point = false;  ///< every text so far is a number with the other decimal sign
    Finding too_large;
};

class Validation {
  public:
    Validation(DataFile* file) : file_(file), other_point_(file->form.decimal == ',' ? '.' : ',') {}

    bool run() {
        RowBlocks::Place start;
        blocks_.begin(file_->bytes.get(), {file_->form.delimiter, 0}, start);
        return skip_lines() && read_names() && read_rows() && conclude();
    }

  private:
    void say(int number, MessageArguments list, std::int64_t line, const Mark& mark = {}) {
        report(group, number, list, in_file(file_->shown, line, mark), {}, mark.excerpt);
    }
    bool fail(int number, MessageArguments list, std::int64_t line, const Mark& mark = {}) {
        say(number, list, line, mark);
        return false;
    }
    bool fault() {
        FileForm form = file_->form;
        form.encoding = file_->encoding;
        report_fault(file_->shown, form, static_cast<int>(file_->variables.size()), blocks_.fault());
        return false;
    }

    bool skip_lines() {
        std::string line;
        for (std::int64_t i = 0; i < file_->form.skip; ++i) {
            const auto outcome = blocks_.next_line(&line);
            if (outcome == RowBlocks::Outcome::fault) return fault();
            if (outcome == RowBlocks::Outcome::end) return fail(25, arguments(file_->form.skip, i), i);
        }
        return true;
    }

    bool read_names() {
        const std::int64_t line = blocks_.place().line;
        std::string row;
        const auto outcome = blocks_.next_row(&row);
        if (outcome == RowBlocks::Outcome::fault) return fault();
        if (outcome == RowBlocks::Outcome::end) return fail(11, {}, line);
        if (!check_delimiter(row, line)) return false;
        std::unordered_set<std::string> seen;
        TextArena arena;
        const IndexFacts facts = index_names(row);
        if (facts.delimiters > most_columns) return fail(14, arguments(facts.delimiters, most_columns), line);
        for (std::size_t c = 0; c < facts.delimiters; ++c) {
            const std::size_t begin = c == 0 ? 0 : places_[c - 1] + std::size_t{1};
            std::string_view name = unquoted(std::string_view(row).substr(begin, places_[c] - begin), arena);
            while (!name.empty() && is_blank(name.front())) name.remove_prefix(1);
            while (!name.empty() && is_blank(name.back())) name.remove_suffix(1);
            FileVariable variable;
            variable.name = name;
            if (name.empty()) {
                variable.name = "column_" + std::to_string(c + 1);
                say(15, arguments(c + 1, variable.name), line);
            }
            if (characters(name) > static_cast<std::size_t>(longest_name)) {
                return fail(13, arguments(shown_field(name), characters(name), longest_name), line,
                            marked(row, begin, places_[c] - begin));
            }
            if (!seen.insert(folded_name(variable.name)).second) {
                return fail(12, arguments(shown_field(variable.name)), line, marked(row, begin, places_[c] - begin));
            }
            file_->variables.push_back(std::move(variable));
        }
        return true;
    }

    IndexFacts index_names(std::string row) {
        row.push_back('\n');
        const std::size_t size = row.size();
        row.resize(size + 64);
        places_.resize(size + 16);
        return plain_index_routine()(row.data(), size, file_->form.delimiter, places_.data());
    }

    /// Names that are one field with another separator in it, which the first row has too, are not what the file's
    /// writer meant.
    bool check_delimiter(const std::string& row, std::int64_t line) {
        if (row.find(file_->form.delimiter) != std::string::npos || row.front() == '"') return true;
        for (const char c : {';', '\t', '|', ','}) {
            const std::size_t place = row.find(c);
            if (place == std::string::npos) continue;
            std::string_view next = blocks_.ahead(65536);
            next = next.substr(0, next.find('\n'));
            if (!next.empty() && next.find(c) == std::string_view::npos) continue;
            const std::string option = option_text(c);
            return fail(20, arguments(option, option), line, marked(row, place, 1));
        }
        return true;
    }

    bool read_rows() {
        file_->body = blocks_.place();
        const RowForm form = file_->row_form();
        blocks_.set_form(form);
        columns_.resize(file_->variables.size());
        for (;;) {
            const auto outcome = blocks_.next(true);
            if (outcome == RowBlocks::Outcome::end) return true;
            if (outcome == RowBlocks::Outcome::fault) return earlier_too_large() || fault();
            const RowBlock& block = blocks_.block();
            if (static_cast<std::size_t>(block.rows) > rest_.size()) rest_.resize(static_cast<std::size_t>(block.rows));
            for (int c = 0; c < form.columns; ++c) check_column(c);
            file_->rows += block.rows;
            arena_.clear();
        }
    }

    void check_column(int c) {
        ColumnState& column = columns_[static_cast<std::size_t>(c)];
        const RowBlock& block = blocks_.block();
        const FieldColumn fields = block.column(c);
        int from = 0;
        if (column.numeric) {
            auto longest = static_cast<std::uint32_t>(column.longest);
            const int count = number_routines().check(fields, file_->form.decimal, &longest, rest_.data());
            column.longest = longest;
            // The fields that the quick routine left; numbers stand in front of the first of them, and between them.
            int previous = -1;
            for (int i = 0; i < count && column.numeric; ++i) {
                const int row = static_cast<int>(rest_[static_cast<std::size_t>(i)]);
                column.any_number = column.any_number || row > previous + 1;
                previous = row;
                check_field(column, c, row, fields.field(row));
                from = row + 1;
            }
            if (column.numeric) {
                column.any_number = column.any_number || previous + 1 < block.rows;
                return;
            }
        }
        column.longest = longest_text_of(fields, block.quotes, column.longest, arena_);
        for (int row = from; row < block.rows && column.other_point; ++row)
            check_other_point(column, fields.field(row));
    }

    /// A field that may be anything, in a column that has been numeric so far.
    void check_field(ColumnState& column, int c, int row, std::string_view raw) {
        const std::string_view field = unquoted(raw, arena_);
        double value = 0;
        switch (read_number(field, file_->form.decimal, &value)) {
            case FieldKind::missing:
                // A special missing value is a text of its own, should the column turn out to be text.
                column.longest = std::max(column.longest, text_value(field).size());
                break;
            case FieldKind::too_large:
                if (column.too_large.line == 0) column.too_large = finding(c, row, field);
                [[fallthrough]];
            case FieldKind::number:
                column.any_number = true;
                column.longest = std::max(column.longest, text_value(field).size());
                break;
            case FieldKind::text:
                column.numeric = false;
                column.text = finding(c, row, field);
                column.foreign = foreign_number(field);
                column.other_point = true;
                check_other_point(column, raw);
                break;
        }
    }

    void check_other_point(ColumnState& column, std::string_view raw) {
        const std::string_view field = unquoted(raw, arena_);
        double value = 0;
        column.other_point = read_number(field, other_point_, &value) != FieldKind::text ||
                             read_number(field, file_->form.decimal, &value) != FieldKind::text;
    }

    Finding finding(int c, int row, std::string_view field) const {
        const RowBlock& block = blocks_.block();
        const std::string_view text = block.row_text(row, static_cast<int>(file_->variables.size()));
        const std::string_view raw = block.column(c).field(row);
        // The line of the row that holds the field, when a field in front of it has line ends.
        const auto offset = static_cast<std::size_t>(raw.data() - text.data());
        const std::size_t feed = text.substr(0, offset).rfind('\n');
        const std::size_t begin = feed == std::string_view::npos ? 0 : feed + 1;
        const std::string_view line = text.substr(begin, text.find('\n', begin) - begin);
        return {block.line(row) + static_cast<std::int64_t>(std::count(
                                      text.begin(), text.begin() + static_cast<std::ptrdiff_t>(begin), '\n')),
                shown_field(field), marked(line, offset - begin, raw.size())};
    }

    /// The earliest number that is too large, if it stands in front of the fault that ended the reading.
    bool earlier_too_large() {
        const Finding* first = nullptr;
        std::size_t at = 0;
        for (std::size_t c = 0; c < columns_.size(); ++c) {
            const Finding& found = columns_[c].too_large;
            if (!columns_[c].numeric || found.line == 0) continue;
            if (first == nullptr || found.line < first->line) first = &found, at = c;
        }
        if (first == nullptr) return false;
        if (blocks_.fault().kind != RowFaultKind::none && blocks_.fault().line <= first->line) return false;
        say(17, arguments(first->field, file_->variables[at].name), first->line, first->mark);
        failed_ = true;
        return true;
    }

    /// Every row has been read: what the columns are.
    bool conclude() {
        if (failed_) return false;
        const Finding* wrong = nullptr;
        std::size_t at = 0;
        int number = 0;
        for (std::size_t c = 0; c < columns_.size(); ++c) {
            const ColumnState& column = columns_[c];
            const Finding& found = column.numeric ? column.too_large : column.text;
            if (found.line == 0 || !(column.numeric || column.other_point)) continue;
            if (wrong != nullptr && wrong->line <= found.line) continue;
            wrong = &found;
            at = c;
            number = column.numeric ? 17 : other_point_ == ',' ? 18 : 19;
        }
        if (wrong != nullptr) {
            return fail(number, arguments(wrong->field, file_->variables[at].name), wrong->line, wrong->mark);
        }
        for (std::size_t c = 0; c < columns_.size(); ++c) {
            const ColumnState& column = columns_[c];
            FileVariable& variable = file_->variables[c];
            if (column.numeric) continue;
            variable.type = VariableType::character;
            variable.length = static_cast<int>(std::max<std::size_t>(1, column.longest));
            variable.first_text = column.text.field;
            variable.text_line = column.text.line;
            if (column.any_number || column.foreign) {
                Mark place = column.text.mark;
                place.excerpt.clear();
                say(16, arguments(variable.name, column.text.field), column.text.line, place);
            }
        }
        return true;
    }

    DataFile* file_;
    char other_point_;
    RowBlocks blocks_;
    std::vector<std::uint32_t> places_, rest_;
    std::vector<ColumnState> columns_;
    TextArena arena_;
    bool failed_ = false;
};

std::shared_ptr<DataFile> validated(std::unique_ptr<DataFile> file, std::unique_ptr<ByteSource> raw) {
    std::string error;
    file->encoding = file->form.encoding;
    file->bytes = decoded_bytes(std::move(raw), &file->encoding, file->form.encoding_given, &error);
    if (file->bytes == nullptr) {
        report(group, 21, arguments(error), in_file(file->shown, 1));
        return nullptr;
    }
    return Validation(file.get()).run() ? std::move(file) : nullptr;
}

}  // namespace

char delimiter_of_ending(std::string_view path) {
    for (const std::string_view packed : {".gz", ".zst"}) {
        if (has_ending(path, packed)) path.remove_suffix(packed.size());
    }
    return has_ending(path, ".tsv") ? '\t' : ',';
}

std::string folded_name(std::string_view name) {
    std::string folded;
    folded.reserve(name.size());
    bool ascii = true;
    for (const char c : name) {
        ascii = ascii && static_cast<unsigned char>(c) < 128;
        folded.push_back(c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c);
    }
    if (ascii) return folded;
    folded.clear();
    const auto* at = reinterpret_cast<const utf8proc_uint8_t*>(name.data());
    auto left = static_cast<utf8proc_ssize_t>(name.size());
    while (left > 0) {
        utf8proc_int32_t character = 0;
        const utf8proc_ssize_t count = utf8proc_iterate(at, left, &character);
        if (count <= 0) return std::string(name);
        utf8proc_uint8_t bytes[4];
        const utf8proc_ssize_t size = utf8proc_encode_char(utf8proc_tolower(character), bytes);
        folded.append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size));
        at += count;
        left -= count;
    }
    return folded;
}

void report_fault(const std::string& shown, const FileForm& form, int columns, const RowFault& fault) {
    Mark mark = marked(fault.text, fault.begin, fault.length);
    const std::string excerpt = std::move(mark.excerpt);
    mark.column += static_cast<int>(fault.before);
    const Place place = in_file(shown, fault.line, fault.behind_line ? Mark{} : mark);
    const std::string delimiter = option_text(form.delimiter);
    switch (fault.kind) {
        case RowFaultKind::none:
            return;
        case RowFaultKind::too_many_fields:
            report(group, 1, arguments(fault.fields, columns), place, {}, excerpt);
            return;
        case RowFaultKind::too_few_fields:
            report(group, 2, arguments(fault.fields, columns), place, {}, excerpt);
            return;
        case RowFaultKind::quote_inside:
            report(group, 3, {}, place, {}, excerpt);
            return;
        case RowFaultKind::quote_open:
            report(group, 4, {}, place, {}, excerpt);
            return;
        case RowFaultKind::quote_after:
            report(group, 5, arguments(delimiter), place, {}, excerpt);
            return;
        case RowFaultKind::zero_byte:
            report(group, 6, {}, place, {}, excerpt);
            return;
        case RowFaultKind::lone_return:
            report(group, 7, {}, place, {}, excerpt);
            return;
        case RowFaultKind::bad_encoding:
            report(group, 8, arguments(form.encoding.name), place, {}, excerpt);
            return;
        case RowFaultKind::row_too_long:
            report(group, 9, arguments(longest_row), place);
            return;
        case RowFaultKind::empty_names:
            report(group, 10, {}, place);
            return;
        case RowFaultKind::unreadable:
            report(group, 21, arguments(fault.text), place);
            return;
    }
}

std::shared_ptr<DataFile> open_data_file(const std::string& path, const std::string& shown, const FileForm& form) {
    auto file = std::make_unique<DataFile>();
    file->shown = shown;
    file->form = form;
    std::string error;
    std::unique_ptr<ByteSource> raw = open_bytes(path, &file->stamp, &error);
    if (raw == nullptr) {
        report(group, 21, arguments(error), in_file(shown, 0));
        return nullptr;
    }
    return validated(std::move(file), std::move(raw));
}

std::shared_ptr<DataFile> validated_bytes(std::unique_ptr<ByteSource> raw, const std::string& shown,
                                          const FileForm& form) {
    auto file = std::make_unique<DataFile>();
    file->shown = shown;
    file->form = form;
    return validated(std::move(file), std::move(raw));
}

}  // namespace vek
