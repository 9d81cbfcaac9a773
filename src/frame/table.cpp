// Turns the calls of Table, Folder and the matrix tables into methods and tags of the table output service, and checks
// each result in the same way.
#include "frame/table.h"

#include <array>

#include "frame/host_message.h"
#include "frame/host_storage.h"

namespace vek {

namespace {

namespace method {
constexpr int create = 147, add_item = 164, end_columns = 298, end_table = 299, open_folder = 300;
constexpr int set_attribute = 316, put_row = 329, define_column = 338, note = 358, matrix_table = 388;
constexpr int bind_template = 422, release = 428, apply_titles = 435, title_line = 439, fill_matrix = 462;
}  // namespace method

namespace tag {
constexpr int object = 0, column_kind = 103, format_key = 105, element = 112, name = 138, family = 143, result = 144;
constexpr int kind = 146, placing = 148, context = 226, title = 267, decimals = 270, numeric_width = 272;
constexpr int character = 273, width = 278, inner_lines = 280, bound = 285, numbered = 286, value = 287;
constexpr int label_key = 288, text_width = 289, label = 296, attribute = 311, path = 339, row_titles = 366;
constexpr int integer = 371, merged = 372, message_group = 383, listing = 387, data = 389, rows = 390, columns = 391;
constexpr int order = 392, matrix_decimals = 393, corner = 394, column_names = 399, row_names = 409;
constexpr int spaced = 419, level_number = 437, line = 440, end_line = 442, following = 443, prefix = 471, text = 577,
              own_title = 2558;
}  // namespace tag

constexpr int kind_character = 1, kind_integer = 3, kind_degrees = 4, kind_number = 5, kind_buffer = 6;
constexpr int kind_text = 20, kind_string = 21;
constexpr int message_group_of_procedure = 172;

// Every call of the service goes through here: a failure is logged once, and the run ends with its code.
void call(HostObject* object, int number, std::span<const Tag> tags) {
    const int rc = wobmth(object, 0, number, static_cast<int>(tags.size()), tags.data());
    if (rc < 0) {
        xprrlog(0, rc);
        xexit(rc, 0);
    }
}

template <class... T>
void call(HostObject* object, int number, const T&... tags) {
    const std::array<Tag, sizeof...(T)> list{tags...};
    call(object, number, std::span<const Tag>(list));
}

HostObject* create(HostObject* manager, std::string_view kind, std::string_view name, std::string_view label) {
    HostObject* made = nullptr;
    call(manager, method::create, tag_text(tag::family, "rdv"), tag_text(tag::kind, kind),
         tag_result(tag::result, &made), tag_integer(tag::placing, -1), tag_text(tag::name, name),
         tag_text(tag::label, label));
    return made;
}

void bind_path(HostObject* table, std::string_view path) {
    call(table, method::bind_template, tag_object(tag::object, table), tag_text(tag::path, path));
}

void finish(HostObject*& table) {
    call(table, method::end_table);
    call(table, method::release, tag_object(tag::object, table));
    table = nullptr;
}

void put_note(HostObject* object, std::string_view text, char character, int number) {
    call(object, method::note, tag_text(tag::text, text), tag_character(tag::character, character),
         tag_integer(tag::integer, number));
}

void put_attribute(HostObject* table, std::string_view key, const Tag& value) {
    call(table, method::set_attribute, tag_text(tag::attribute, key), value);
}

void put_column_attribute(HostObject* table, std::string_view key, const Tag& value) {
    call(table, method::set_attribute, tag_text(tag::attribute, key), value, tag_flag(tag::column_kind));
}

void fill(HostObject* object, const Matrix& matrix) {
    call(object, method::fill_matrix, tag_bound(tag::element, matrix.element == nullptr ? nullptr : &matrix.element),
         tag_bound(tag::context, matrix.context), tag_bound(tag::data, matrix.values),
         tag_integer(tag::rows, static_cast<std::int64_t>(matrix.rownames.size())),
         tag_integer(tag::columns, static_cast<std::int64_t>(matrix.columnnames.size())),
         tag_integer(tag::order, matrix.stride), tag_text(tag::format_key, matrix.format),
         tag_integer(tag::width, matrix.width), tag_integer(tag::matrix_decimals, matrix.decimals),
         tag_texts(tag::row_names, matrix.rownames.data(), static_cast<std::uint32_t>(matrix.rownames.size())),
         tag_texts(tag::column_names, matrix.columnnames.data(), static_cast<std::uint32_t>(matrix.columnnames.size())),
         tag_text(tag::prefix, matrix.prefix));
}

}  // namespace

// ---- tables of rows ---------------------------------------------------------------------------------------------

Table::Table(HostObject* manager, std::string_view name, std::string_view label) {
    if (manager != nullptr) table_ = create(manager, "data", name, label);
}

Table& Table::column(std::string_view name, int kind, int width, int decimals, const void* value,
                     const ColumnStyle& style) {
    if (table_ == nullptr) return *this;
    const bool numeric = kind == kind_number;
    call(table_, method::define_column, tag_integer(tag::column_kind, kind), tag_text(tag::name, name),
         tag_integer(numeric ? tag::numeric_width : tag::text_width, width), tag_integer(tag::decimals, decimals),
         tag_bound(tag::bound, value), tag_text(tag::label, style.label), tag_text(tag::path, style.like));
    return *this;
}

Table& Table::text(std::string_view name, int width, const std::string_view& value, const ColumnStyle& style) {
    return column(name, kind_text, width, no_decimals, &value, style);
}
Table& Table::text(std::string_view name, int width, const std::string& value, const ColumnStyle& style) {
    return column(name, kind_string, width, no_decimals, &value, style);
}
Table& Table::buffer(std::string_view name, int width, const char* value, const ColumnStyle& style) {
    return column(name, kind_buffer, width, no_decimals, value, style);
}
Table& Table::character(std::string_view name, const char& value, const ColumnStyle& style) {
    return column(name, kind_character, 1, no_decimals, &value, style);
}
Table& Table::integer(std::string_view name, const std::int32_t& value, const ColumnStyle& style) {
    return column(name, kind_integer, no_width, no_decimals, &value, style);
}
Table& Table::degrees(std::string_view name, const std::int32_t& value, const ColumnStyle& style) {
    return column(name, kind_degrees, no_width, no_decimals, &value, style);
}
Table& Table::number(std::string_view name, const double& value, int width, int decimals, const ColumnStyle& style) {
    return column(name, kind_number, width, decimals, &value, style);
}

Table& Table::attribute(std::string_view key, std::string_view value) {
    if (table_ != nullptr) put_attribute(table_, key, tag_text(tag::value, value));
    return *this;
}
Table& Table::attribute(std::string_view key, std::int64_t value) {
    if (table_ != nullptr) put_attribute(table_, key, tag_integer(tag::value, value));
    return *this;
}
Table& Table::attribute(std::string_view key, double value) {
    if (table_ != nullptr) put_attribute(table_, key, tag_number(tag::value, value));
    return *this;
}
Table& Table::column_attribute(std::string_view key, std::string_view value) {
    if (table_ != nullptr) put_column_attribute(table_, key, tag_text(tag::value, value));
    return *this;
}
Table& Table::column_attribute(std::string_view key, std::int64_t value) {
    if (table_ != nullptr) put_column_attribute(table_, key, tag_integer(tag::value, value));
    return *this;
}
Table& Table::column_attribute(std::string_view key, double value) {
    if (table_ != nullptr) put_column_attribute(table_, key, tag_number(tag::value, value));
    return *this;
}

void Table::bind(std::string_view path) {
    if (table_ == nullptr) return;
    call(table_, method::end_columns);
    bind_path(table_, path);
}
void Table::row() {
    if (table_ != nullptr) call(table_, method::put_row);
}
void Table::note(std::string_view text, char character, int number) {
    if (table_ != nullptr) put_note(table_, text, character, number);
}
void Table::end() {
    if (table_ != nullptr) finish(table_);
}

// ---- tables of items --------------------------------------------------------------------------------------------

Factoids::Factoids(HostObject* manager, std::string_view name, std::string_view label, std::string_view path) {
    if (manager == nullptr) return;
    table_ = create(manager, "factoid", name, label);
    bind_path(table_, path);
}
Factoids& Factoids::attribute(std::string_view key, std::string_view value) {
    if (table_ != nullptr) put_attribute(table_, key, tag_text(tag::value, value));
    return *this;
}
Factoids& Factoids::attribute(std::string_view key, double value) {
    if (table_ != nullptr) put_attribute(table_, key, tag_number(tag::value, value));
    return *this;
}
Factoids& Factoids::item(std::string_view label, std::string_view value) {
    if (table_ != nullptr) call(table_, method::add_item, tag_text(tag::label, label), tag_text(tag::value, value));
    return *this;
}
Factoids& Factoids::item(std::string_view label, std::int64_t value) {
    if (table_ != nullptr) call(table_, method::add_item, tag_text(tag::label, label), tag_integer(tag::value, value));
    return *this;
}
Factoids& Factoids::item(std::string_view label, double value, int width, int decimals) {
    if (table_ != nullptr) {
        call(table_, method::add_item, tag_text(tag::label, label), tag_number(tag::value, value),
             tag_integer(tag::numeric_width, width), tag_integer(tag::decimals, decimals));
    }
    return *this;
}
Factoids& Factoids::percent(std::string_view label, double value, int width) {
    if (table_ != nullptr) {
        call(table_, method::add_item, tag_text(tag::label, label), tag_number(tag::value, value),
             tag_integer(tag::numeric_width, width), tag_text(tag::format_key, "percent"));
    }
    return *this;
}
void Factoids::note(std::string_view text, char character, int number) {
    if (table_ != nullptr) put_note(table_, text, character, number);
}
void Factoids::end() {
    if (table_ != nullptr) finish(table_);
}

// ---- matrices ---------------------------------------------------------------------------------------------------

StackedMatrices::StackedMatrices(HostObject* manager) {
    if (manager != nullptr) table_ = create(manager, "matrix", {}, {});
}
StackedMatrices& StackedMatrices::matrix(const Matrix& matrix) {
    if (table_ != nullptr) fill(table_, matrix);
    return *this;
}
void StackedMatrices::end(std::string_view name, std::string_view label, std::string_view path,
                          const MatrixTexts& texts) {
    if (table_ == nullptr) return;
    if (!texts.attribute.empty()) put_attribute(table_, texts.attribute, tag_text(tag::value, texts.value));
    call(table_, method::matrix_table, tag_text(tag::path, path), tag_text(tag::name, name),
         tag_text(tag::label, label), tag_integer(tag::width, texts.width), tag_text(tag::title, texts.title),
         tag_text(tag::corner, texts.corner), tag_integer(tag::row_titles, 1), tag_integer(tag::inner_lines, 1),
         tag_integer(tag::spaced, 1), tag_flag(tag::merged));
    if (!texts.note.empty()) put_note(table_, texts.note, 'l', 0);
    finish(table_);
}

void matrix_table(HostObject* manager, std::string_view name, std::string_view label, std::string_view path,
                  const Matrix& matrix, const MatrixTexts& texts) {
    StackedMatrices one(manager);
    one.matrix(matrix).end(name, label, path, texts);
}

// ---- folders, titles and notes ----------------------------------------------------------------------------------

void Folder::open(HostObject* manager, std::string_view name, std::string_view label, const FolderStyle& style) {
    if (manager == nullptr) return;
    std::array<Tag, 7> tags{tag_result(tag::result, &folder_), tag_text(tag::name, name), tag_text(tag::label, label),
                            tag_text(tag::label_key, style.key), tag_integer(tag::width, style.width)};
    std::size_t count = 5;
    if (style.numbered) {
        tags[count++] = tag_flag(tag::numbered);
        tags[count++] = tag_number(tag::level_number, style.number);
    }
    call(manager, method::open_folder, std::span<const Tag>(tags.data(), count));
}

void Folder::close() {
    if (folder_ == nullptr) return;
    HostObject* const folder = folder_;
    folder_ = nullptr;
    const int rc = wobclose(folder);
    if (rc < 0) {
        xprrlog(0, rc);
        xexit(rc, 0);
    }
}

HostObject* make_manager(HostObject* root) {
    HostObject* manager = nullptr;
    call(root, method::create, tag_text(tag::family, "rdv"), tag_text(tag::kind, "manager"),
         tag_result(tag::result, &manager), tag_integer(tag::message_group, message_group_of_procedure),
         tag_integer(tag::listing, 1));
    return manager;
}

void set_title(HostObject* manager, int line, std::string_view text) {
    if (manager == nullptr) return;
    call(manager, method::title_line, tag_integer(tag::line, line), tag_integer(tag::placing, -1),
         tag_text(tag::text, text));
}
void set_procedure_title(HostObject* manager, std::string_view text) {
    if (manager == nullptr) return;
    call(manager, method::title_line, tag_integer(tag::line, 1), tag_flag(tag::own_title),
         tag_integer(tag::placing, -1), tag_text(tag::text, text));
}
void end_title(HostObject* manager, int line) {
    if (manager != nullptr) call(manager, method::title_line, tag_integer(tag::end_line, line));
}
void end_titles_from(HostObject* manager, int line) {
    if (manager == nullptr) return;
    call(manager, method::title_line, tag_integer(tag::end_line, line), tag_flag(tag::following));
}
void apply_titles(HostObject* manager) {
    if (manager != nullptr) call(manager, method::apply_titles);
}
void report_note(HostObject* manager, std::string_view text, char character, int number) {
    if (manager != nullptr) put_note(manager, text, character, number);
}

}  // namespace vek
