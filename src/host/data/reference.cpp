// Reads data set references from statements, and opens what they name: a data set in memory, a file given by --data, or
// a file of that name, with the reference's options laid over it.
#include "host/data/reference.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "host/data/library.h"
#include "host/data/reference_options.h"
#include "host/message/catalogue.h"
#include "host/session/session.h"
#include "host/statement/diagnostics.h"
#include "host/statement/suggest.h"

namespace vek {

namespace {

constexpr int group = 910;

// ---- reading ----------------------------------------------------------------------------------------------------

class OptionReader {
  public:
    OptionReader(TokenCursor& cursor, ReferenceOptions* options) : cursor_(cursor), options_(*options) {}

    /// The options behind the opening parenthesis, and the closing one.
    bool read() {
        while (!cursor_.accept(")")) {
            if (cursor_.at_end()) return cursor_.fail_expected("an option of the data set or \")\"");
            if (!read_option()) return false;
        }
        return true;
    }

  private:
    struct OptionName {
        std::string_view name;
        bool (OptionReader::*read)(const Token&);
        bool files, inputs;  ///< only for files; only for data sets to read
    };
    static constexpr int option_count = 10;
    static const OptionName option_names[option_count];

    bool read_option() {
        const Token name = cursor_.peek();
        for (int i = 0; i < option_count; ++i) {
            const OptionName& option = option_names[i];
            if (!name.is(option.name)) continue;
            if ((seen_ & 1U << i) != 0) return cursor_.fail(name, group, 60, {upper_case(name.text)});
            seen_ |= 1U << i;
            cursor_.next();
            if (!cursor_.accept("=")) return cursor_.fail_expected("\"=\"");
            if (option.files && !options_.for_files) options_.for_files = name;
            if (option.inputs && !options_.for_inputs) options_.for_inputs = name;
            return (this->*option.read)(name);
        }
        if (name.kind != TokenKind::name) return cursor_.fail_expected("an option of the data set or \")\"");
        Nearest nearest(name.text);
        for (const OptionName& option : option_names) nearest.offer(option.name);
        return cursor_.fail(name, group, 61, {vek::quoted(name.text)}, "an option of the data set or \")\"",
                            nearest.found() ? in_case_of(nearest.best(), name.text) : "");
    }

    bool read_where(const Token&) {
        if (!cursor_.accept("(")) return cursor_.fail_expected("\"(\" and a condition");
        for (int depth = 1;;) {
            const Token token = cursor_.peek();
            if (token.ends_statement()) return cursor_.fail_expected("\")\" behind the condition");
            if (token.kind == TokenKind::bad) return cursor_.fail_expected("a condition");
            if (token.is("(")) ++depth;
            if (token.is(")")) --depth;
            options_.where.push_back(cursor_.next());
            if (depth == 0) return true;
        }
    }

    /// True when an option or the end of the options stands at the cursor.
    bool names_end() const {
        return cursor_.at_end() || cursor_.is(")") ||
               (cursor_.peek().kind == TokenKind::name && cursor_.peek(1).is("="));
    }

    bool read_names(std::vector<NameForm>* forms) {
        const bool parenthesis = cursor_.accept("(");
        while (!names_end()) {
            NameForm form;
            form.first = form.last = cursor_.peek();
            if (!form.first.is_name()) {
                return cursor_.fail_expected("the name of a variable", form.first.is(",") ? " " : "");
            }
            cursor_.next();
            if (form.first.is("_NUMERIC_")) form.kind = NameForm::Kind::numeric;
            if (form.first.is("_CHARACTER_") || form.first.is("_CHAR_")) form.kind = NameForm::Kind::character;
            if (form.first.is("_ALL_")) form.kind = NameForm::Kind::all;
            if (form.kind == NameForm::Kind::single && cursor_.accept(":")) {
                form.kind = NameForm::Kind::prefix;
            } else if (form.kind == NameForm::Kind::single && cursor_.accept("-")) {
                form.kind = cursor_.accept("-") ? NameForm::Kind::ordered : NameForm::Kind::numbered;
                form.last = cursor_.peek();
                if (!form.last.is_name()) return cursor_.fail_expected("the name at the end of the range");
                cursor_.next();
            }
            forms->push_back(form);
        }
        if (forms->empty()) return cursor_.fail_expected("the name of a variable");
        if (parenthesis && !cursor_.accept(")")) return cursor_.fail_expected("\")\"");
        return true;
    }

    bool read_keep(const Token&) {
        options_.has_keep = true;
        return read_names(&options_.keep);
    }
    bool read_drop(const Token&) { return read_names(&options_.drop); }

    bool read_rename(const Token&) {
        if (!cursor_.accept("(")) return cursor_.fail_expected("\"(\" and old=new");
        while (!cursor_.accept(")")) {
            Renaming renaming;
            renaming.from = cursor_.peek();
            if (!renaming.from.is_name()) return cursor_.fail_expected("the name of a variable or \")\"");
            cursor_.next();
            if (!cursor_.accept("=")) return cursor_.fail_expected("\"=\" and the new name");
            renaming.to = cursor_.peek();
            if (!renaming.to.is_name()) return cursor_.fail_expected("the new name");
            cursor_.next();
            options_.rename.push_back(renaming);
        }
        return true;
    }

    bool read_count(const Token& keyword, std::int64_t least, std::optional<std::int64_t>* count) {
        const Token& token = cursor_.peek();
        if (token.kind != TokenKind::integer) return cursor_.fail_expected("a whole number");
        if (token.number < static_cast<double>(least)) {
            return cursor_.fail(token, group, 62,
                                {upper_case(keyword.text) + "=" + token.text, static_cast<int>(least)});
        }
        *count = static_cast<std::int64_t>(std::min(token.number, 9e15));
        cursor_.next();
        return true;
    }
    bool read_last(const Token& name) { return cursor_.accept("MAX") || read_count(name, 0, &options_.last); }
    bool read_first(const Token& name) { return read_count(name, 1, &options_.first); }
    bool read_skip(const Token& name) { return read_count(name, 0, &options_.skip); }

    bool read_text(std::string* text) {
        if (cursor_.peek().kind != TokenKind::string) return cursor_.fail_expected("a text in quotes");
        *text = cursor_.peek().text;
        return true;
    }

    bool read_delimiter(const Token&) {
        std::string text;
        if (!read_text(&text)) return false;
        if (text == "\\t" || upper_case(text) == "TAB") text = "\t";
        const bool good = text.size() == 1 && static_cast<unsigned char>(text[0]) < 127 && text[0] != '"' &&
                          (text[0] == '\t' || static_cast<unsigned char>(text[0]) >= 32);
        if (!good) return cursor_.fail(cursor_.peek(), group, 63, {});
        options_.delimiter = text[0];
        cursor_.next();
        return true;
    }
    bool read_decimal(const Token&) {
        std::string text;
        if (!read_text(&text)) return false;
        if (text != "." && text != ",") return cursor_.fail(cursor_.peek(), group, 64, {});
        options_.decimal = text[0];
        cursor_.next();
        return true;
    }
    bool read_encoding(const Token&) {
        std::string text;
        if (!read_text(&text)) return false;
        Encoding encoding;
        if (!find_encoding(text, &encoding)) {
            return cursor_.fail(cursor_.peek(), group, 65, {vek::quoted(text), encoding_names()});
        }
        options_.encoding = encoding;
        cursor_.next();
        return true;
    }

    TokenCursor& cursor_;
    ReferenceOptions& options_;
    unsigned seen_ = 0;
};

const OptionReader::OptionName OptionReader::option_names[option_count] = {
    {"WHERE", &OptionReader::read_where, false, true},
    {"KEEP", &OptionReader::read_keep, false, false},
    {"DROP", &OptionReader::read_drop, false, false},
    {"RENAME", &OptionReader::read_rename, false, false},
    {"OBS", &OptionReader::read_last, false, true},
    {"FIRSTOBS", &OptionReader::read_first, false, true},
    {"DELIMITER", &OptionReader::read_delimiter, true, false},
    {"DECIMAL", &OptionReader::read_decimal, true, false},
    {"ENCODING", &OptionReader::read_encoding, true, true},
    {"SKIP", &OptionReader::read_skip, true, true},
};

// ---- opening ----------------------------------------------------------------------------------------------------

/// Where the errors of a reference go: to the statement that is being read, or to the log.
class Complaints {
  public:
    Complaints(const DataReference& reference, TokenCursor* cursor) : reference_(reference), cursor_(cursor) {}

    bool fail(int group_number, const Token& token, int number, const std::vector<std::string>& texts,
              std::string expected = {}, std::string suggest = {}) const {
        std::vector<MessageArgument> list(texts.begin(), texts.end());
        if (cursor_ != nullptr) {
            switch (list.size()) {
                case 0:
                    return cursor_->fail(token, group_number, number, {}, expected, suggest);
                case 1:
                    return cursor_->fail(token, group_number, number, {list[0]}, expected, suggest);
                default:
                    return cursor_->fail(token, group_number, number, {list[0], list[1]}, expected, suggest);
            }
        }
        if (!expected.empty()) expected.insert(0, "expected ");
        report(group_number, number, list, place(token), std::move(suggest), std::move(expected));
        return false;
    }
    bool fail(const Token& token, int number, const std::vector<std::string>& texts, std::string suggest = {}) const {
        return fail(group, token, number, texts, {}, std::move(suggest));
    }

    Place place(const Token& token) const {
        Place at = reference_.place;
        if (token.line > 0) at.line = token.line, at.column = token.column, at.length = token.length;
        return at;
    }

  private:
    const DataReference& reference_;
    TokenCursor* cursor_;
};

const ReferenceOptions& options_of(const DataReference& reference) {
    static const ReferenceOptions none;
    return reference.options == nullptr ? none : *reference.options;
}

bool file_exists(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0;
}

FileForm form_of(const ReferenceOptions& options, const std::string& path) {
    FileForm form;
    form.delimiter = options.delimiter.value_or(delimiter_of_ending(path));
    form.decimal = options.decimal.value_or('.');
    form.skip = options.skip.value_or(0);
    form.encoding_given = options.encoding.has_value();
    if (options.encoding) form.encoding = *options.encoding;
    return form;
}

/// Number at the end of a name, and the name in front of it.
bool cut_number(std::string_view name, std::string* stem, long* number) {
    std::size_t digits = name.size();
    while (digits > 0 && name[digits - 1] >= '0' && name[digits - 1] <= '9') --digits;
    if (digits == name.size() || name.size() - digits > 9) return false;
    *stem = folded_name(name.substr(0, digits));
    *number = std::stol(std::string(name.substr(digits)));
    return true;
}

/// Lays a reference's options over the columns of a source.
class Overlay {
  public:
    Overlay(DataSet* data, const ReferenceOptions& options, const Complaints& complaints)
        : data_(*data), options_(options), complaints_(complaints), old_(data->source_variables) {
        names_.build(data_.source_variables);
    }

    bool apply() {
        const std::size_t count = data_.source_variables.size();
        std::vector<char> kept(count, options_.has_keep ? 0 : 1);
        if (!mark(options_.keep, &kept, 1) || !mark(options_.drop, &kept, 0)) return false;
        if (!rename(kept)) return false;
        for (std::size_t c = 0; c < count; ++c) {
            if (kept[c] == 0) continue;
            data_.variables.push_back(data_.source_variables[c]);
            data_.columns.push_back(static_cast<int>(c));
        }
        data_.names.build(data_.variables);
        if (data_.variables.empty()) {
            const Token& token = options_.drop.empty() ? options_.keep.front().first : options_.drop.front().first;
            return complaints_.fail(token, 66, {data_.shown});
        }
        return check_renamed();
    }

  private:
    int find(const Token& token) {
        const int column = names_.find(token.text);
        if (column < 0) {
            std::string nearest = nearest_variable(old_, token.text);
            std::string expected = nearest.empty() ? some_variables(old_) : std::string();
            complaints_.fail(group, token, 50, {token.text, data_.shown}, std::move(expected), std::move(nearest));
        }
        return column;
    }

    bool mark(const std::vector<NameForm>& forms, std::vector<char>* kept, char value) {
        for (const NameForm& form : forms) {
            if (!mark_form(form, kept, value)) return false;
        }
        return true;
    }

    bool mark_form(const NameForm& form, std::vector<char>* kept, char value) {
        const std::vector<Variable>& all = data_.source_variables;
        const auto mark_where = [&](const auto& test) {
            bool any = false;
            for (std::size_t c = 0; c < all.size(); ++c) {
                if (test(all[c])) (*kept)[c] = value, any = true;
            }
            return any;
        };
        switch (form.kind) {
            case NameForm::Kind::all:
                mark_where([](const Variable&) { return true; });
                return true;
            case NameForm::Kind::numeric:
                mark_where([](const Variable& v) { return v.type == VariableType::numeric; });
                return true;
            case NameForm::Kind::character:
                mark_where([](const Variable& v) { return v.type == VariableType::character; });
                return true;
            case NameForm::Kind::prefix: {
                const std::string stem = folded_name(form.first.text);
                if (mark_where([&](const Variable& v) { return folded_name(v.name).starts_with(stem); })) return true;
                return complaints_.fail(form.first, 67, {form.first.text, data_.shown});
            }
            default:
                break;
        }
        const int first = find(form.first);
        if (first < 0) return false;
        if (form.kind == NameForm::Kind::single) {
            (*kept)[static_cast<std::size_t>(first)] = value;
            return true;
        }
        const int last = find(form.last);
        if (last < 0) return false;
        if (form.kind == NameForm::Kind::ordered) {
            if (last < first) return complaints_.fail(form.last, 68, {form.last.text, form.first.text});
            std::fill(kept->begin() + first, kept->begin() + last + 1, value);
            return true;
        }
        std::string stem, other;
        long low = 0, high = 0;
        if (!cut_number(form.first.text, &stem, &low) || !cut_number(form.last.text, &other, &high) || stem != other ||
            low > high) {
            return complaints_.fail(form.last, 69, {form.first.text, form.last.text});
        }
        mark_where([&](const Variable& v) {
            long number = 0;
            return cut_number(v.name, &other, &number) && other == stem && number >= low && number <= high;
        });
        return true;
    }

    bool rename(const std::vector<char>& kept) {
        std::vector<char> renamed(kept.size(), 0);
        for (const Renaming& renaming : options_.rename) {
            const int column = find(renaming.from);
            if (column < 0) return false;
            const auto at = static_cast<std::size_t>(column);
            if (kept[at] == 0) return complaints_.fail(renaming.from, 70, {renaming.from.text});
            if (renamed[at] != 0) return complaints_.fail(renaming.from, 71, {renaming.from.text});
            renamed[at] = 1;
            data_.old_names.emplace_back(folded_name(data_.source_variables[at].name), column);
            data_.source_variables[at].name = renaming.to.text;
        }
        return true;
    }

    bool check_renamed() {
        for (const Renaming& renaming : options_.rename) {
            const std::string folded = folded_name(renaming.to.text);
            const auto same = std::count_if(data_.variables.begin(), data_.variables.end(),
                                            [&](const Variable& v) { return folded_name(v.name) == folded; });
            if (same > 1) return complaints_.fail(renaming.to, 51, {renaming.to.text, data_.shown});
        }
        return true;
    }

    DataSet& data_;
    const ReferenceOptions& options_;
    const Complaints& complaints_;
    std::vector<Variable> old_;  ///< as the options call them, whatever has been renamed
    NameTable names_;
};

bool bind_where(DataSet* data, const ReferenceOptions& options, const Complaints& complaints) {
    if (options.where.empty()) return true;
    const auto find = [data](const Token& token) { return find_for_condition(*data, token.text); };
    const auto fail = [&complaints](const Token& token, int number, const std::string& argument, std::string expected,
                                    std::string suggest) {
        std::vector<std::string> texts;
        if (!argument.empty()) texts.push_back(argument);
        complaints.fail(920, token, number, texts, std::move(expected), std::move(suggest));
    };
    data->reference_where.root = parse_condition(options.where, find, fail);
    return data->reference_where.given();
}

DataSet* open_table(const MadeDataSet& made, const DataReference& reference, const Complaints& complaints) {
    const ReferenceOptions& options = options_of(reference);
    if (options.for_files) {
        complaints.fail(*options.for_files, 72, {upper_case(options.for_files->text), made.name});
        return nullptr;
    }
    auto data = std::make_unique<DataSet>();
    data->shown = made.name;
    data->in_memory = true;
    data->source_variables = made.table->variables();
    data->source_rows = made.table->rows();
    data->rows = std::make_unique<GroupedRows>(rows_of(std::shared_ptr<const MemoryTable>(made.table)));
    return add_open(std::move(data));
}

DataSet* open_file(const std::string& path, const std::string& shown, const FileForm& form) {
    std::shared_ptr<DataFile> file = library_file(path, shown, form);
    if (file == nullptr) return nullptr;
    auto data = std::make_unique<DataSet>();
    data->shown = shown;
    for (const FileVariable& variable : file->variables) {
        data->source_variables.push_back({variable.name, {}, variable.type, variable.length, {}});
    }
    data->source_rows = file->rows;
    data->file = file;
    data->rows = std::make_unique<GroupedRows>(rows_of(std::move(file)));
    return add_open(std::move(data));
}

/// The name of a file without the endings of data files.
std::string_view bare_name(std::string_view file) {
    for (const std::string_view ending : {".gz", ".zst", ".csv", ".tsv"}) {
        if (file.ends_with(ending)) file.remove_suffix(ending.size());
    }
    return file;
}

/// The data file that was probably meant where there is none of the name, as a path in quotes: with the ending that was
/// left out, or of nearly the same name; beside the program or in the current directory. Empty when none is near.
std::string meant_file(const DataReference& reference) {
    namespace fs = std::filesystem;
    constexpr int most_files = 10000;
    const fs::path written(reference.name);
    std::set<std::string> files;
    for (const fs::path& start : {fs::path(), fs::path(reference.place.file).parent_path()}) {
        std::error_code error;
        const fs::path folder = start / written.parent_path();
        int looked = 0;
        for (fs::directory_iterator at(folder.empty() ? "." : folder, error), end; !error && at != end;) {
            const std::string file = at->path().filename().string();
            const bool other = !written.extension().empty() && at->path().extension() == written.extension();
            if (bare_name(file).size() < file.size() || other) files.insert(file);
            if (++looked == most_files) break;
            at.increment(error);
        }
    }
    const std::string name = written.filename().string();
    Nearest whole(name), bare(bare_name(name));
    for (const std::string& file : files) {
        whole.offer(file);
        bare.offer(bare_name(file));
    }
    for (const std::string& file : files) {
        const bool meant = whole.found() ? file == whole.best() : bare.found() && bare_name(file) == bare.best();
        if (!meant) continue;
        std::string literal = "'";
        for (const char c : (written.parent_path() / file).string()) literal.append(c == '\'' ? 2 : 1, c);
        return literal + "'";
    }
    return {};
}

/// What a reference names, before its options are laid over it.
DataSet* open_source(const DataReference& reference, const Complaints& complaints) {
    const ReferenceOptions& options = options_of(reference);
    if (!reference.is_path) {
        if (const MadeDataSet* made = find_made(reference.name)) return open_table(*made, reference, complaints);
        const std::optional<std::string> given = session().data_path(reference.name);
        const std::string shown = given.value_or(reference.name + ".csv");
        const std::string path = session().input_path(shown);
        if (!given && !file_exists(path)) {
            complaints.fail(reference.token, 22, {reference.name, shown}, meant_file(reference));
            return nullptr;
        }
        return open_file(path, shown, form_of(options, shown));
    }
    const std::string path = session().input_path(reference.name);
    if (!file_exists(path)) {
        complaints.fail(reference.token, 23, {reference.name}, meant_file(reference));
        return nullptr;
    }
    return open_file(path, reference.name, form_of(options, path));
}

DataSet* with_options(DataSet* data, const ReferenceOptions& options, const Complaints& complaints) {
    if (data == nullptr || !Overlay(data, options, complaints).apply() || !bind_where(data, options, complaints)) {
        return nullptr;
    }
    data->first = options.first.value_or(1);
    data->last = options.last.value_or(data->last);
    apply_filter(data);
    return data;
}

std::vector<DataSet::NameOption> plain_names(const std::vector<NameForm>& forms, const Complaints& complaints) {
    std::vector<DataSet::NameOption> names;
    for (const NameForm& form : forms) names.push_back({form.first.text, {}, complaints.place(form.first)});
    return names;
}

/// The options of a data set to write: only names one by one, since its variables are not known yet.
bool output_options(DataSet* data, const ReferenceOptions& options, const Complaints& complaints) {
    if (options.for_inputs) return complaints.fail(*options.for_inputs, 73, {upper_case(options.for_inputs->text)});
    if (options.for_files && data->in_memory) {
        return complaints.fail(*options.for_files, 72, {upper_case(options.for_files->text), data->shown});
    }
    for (const auto* forms : {&options.keep, &options.drop}) {
        for (const NameForm& form : *forms) {
            if (form.kind != NameForm::Kind::single) return complaints.fail(form.first, 74, {});
        }
    }
    data->keep = plain_names(options.keep, complaints);
    data->has_keep = options.has_keep;
    data->drop = plain_names(options.drop, complaints);
    for (const Renaming& renaming : options.rename) {
        data->rename.push_back({renaming.from.text, renaming.to.text, complaints.place(renaming.from)});
    }
    return true;
}

}  // namespace

bool parse_reference(TokenCursor& cursor, DataReference* reference) {
    const Token token = cursor.peek();
    reference->is_path = token.kind == TokenKind::string;
    if (!reference->is_path && !token.is_name() && token.kind != TokenKind::compound &&
        token.kind != TokenKind::format) {
        return cursor.fail_expected("a data set: a name, or a path in quotes");
    }
    reference->name = token.text;
    if (token.kind == TokenKind::format && reference->name.ends_with('.')) {
        return cursor.fail_expected("a data set: a name, or a path in quotes");
    }
    if (reference->name.empty() || reference->name.find('\0') != std::string::npos) {
        return cursor.fail(token, group, 75, {});
    }
    reference->token = token;
    reference->place = cursor.place(token);
    cursor.next();
    auto options = std::make_shared<ReferenceOptions>();
    if (cursor.accept("(") && !OptionReader(cursor, options.get()).read()) return false;
    reference->options = std::move(options);
    return true;
}

DataSet* open_input(const DataReference& reference, TokenCursor* cursor) {
    const Complaints complaints(reference, cursor);
    return with_options(open_source(reference, complaints), options_of(reference), complaints);
}

DataSet* open_last(const Place& place) {
    const MadeDataSet* made = last_made();
    if (made == nullptr) {
        report(group, 26, {}, place);
        return nullptr;
    }
    DataReference reference;
    reference.name = made->name;
    reference.place = place;
    const Complaints complaints(reference, nullptr);
    DataSet* data =
        made->is_path ? open_file(made->name, made->name, made->form) : open_table(*made, reference, complaints);
    return with_options(data, options_of(reference), complaints);
}

DataSet* open_output(const DataReference& reference, TokenCursor* cursor) {
    const Complaints complaints(reference, cursor);
    const ReferenceOptions& options = options_of(reference);
    auto data = std::make_unique<DataSet>();
    data->output = true;
    data->shown = data->name = reference.name;
    data->in_memory = !reference.is_path;
    if (is_being_written(reference.name, reference.is_path)) {
        complaints.fail(reference.token, 76, {reference.name});
        return nullptr;
    }
    if (reference.is_path && session().is_output(reference.name)) {
        complaints.fail(reference.token, 78, {reference.name});
        return nullptr;
    }
    if (!output_options(data.get(), options, complaints)) return nullptr;
    if (data->in_memory) {
        data->writer = memory_writer();
    } else {
        std::string error;
        data->form = form_of(options, reference.name);
        data->writer = file_writer(reference.name, data->form, &error);
        if (data->writer == nullptr) {
            complaints.fail(reference.token, 77, {reference.name, error});
            return nullptr;
        }
    }
    return add_open(std::move(data));
}

}  // namespace vek
