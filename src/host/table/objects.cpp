// The object protocol: turns the procedure's numbered methods and their tags into changes of the report.
#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "frame/host_message.h"
#include "frame/host_table.h"
#include "host/message/catalogue.h"
#include "host/table/report.h"
#include "host/table/service.h"

namespace vek {

namespace {

constexpr int no_such_method = static_cast<int>(0x80008001U);
constexpr int wrong_arguments = static_cast<int>(0x80008002U);
constexpr int wrong_order = static_cast<int>(0x80008003U);

using Tags = std::span<const Tag>;

const Tag* find(Tags tags, int tag) {
    const auto found = std::find_if(tags.begin(), tags.end(), [&](const Tag& t) { return t.tag == tag; });
    return found == tags.end() ? nullptr : &*found;
}

std::string_view text_of(const Tag& tag) { return {static_cast<const char*>(tag.value.pointer), tag.length}; }

std::string_view text_of(Tags tags, int tag) {
    const Tag* const found = find(tags, tag);
    return found == nullptr || found->length == 0 ? std::string_view() : text_of(*found);
}

std::int64_t integer_of(Tags tags, int tag, std::int64_t otherwise) {
    const Tag* const found = find(tags, tag);
    return found == nullptr ? otherwise : found->value.integer;
}

template <class T>
const T* pointer_of(Tags tags, int tag) {
    const Tag* const found = find(tags, tag);
    return found == nullptr ? nullptr : static_cast<const T*>(found->value.pointer);
}

std::span<const std::string_view> texts_of(Tags tags, int tag) {
    const Tag* const found = find(tags, tag);
    if (found == nullptr) return {};
    return {static_cast<const std::string_view*>(found->value.pointer), found->length};
}

// Value types of tag 287; all others are texts.
constexpr int type_character = 1, type_integer = 3, type_number = 5, type_flag = 13;

AttributeValue attribute_of(const Tag& tag) {
    AttributeValue value;
    if (tag.type == type_integer || tag.type == type_flag) {
        value.kind = AttributeValue::Kind::integer;
        value.integer = tag.value.integer;
    } else if (tag.type == type_number) {
        value.kind = AttributeValue::Kind::number;
        value.number = tag.value.number;
    } else if (tag.type == type_character) {
        value.text = std::string(1, static_cast<char>(tag.value.integer));
    } else {
        value.text = text_of(tag);
    }
    return value;
}

void report_fault(TableModel& table, RowSet& set, std::size_t column, std::size_t row) {
    set.own_columns()[column].reported = true;
    report(940, 1, arguments(table.name, set.columns()[column].name, static_cast<std::int64_t>(row)),
           host_log().statement());
}

Report& current() { return tables().report(); }

int set_result(Tags tags, HostObject* object) {
    const Tag* const result = find(tags, 144);
    if (result == nullptr || result->value.result == nullptr) return wrong_arguments;
    *result->value.result = object;
    return 0;
}

// ---- methods of the manager, of folders and of the root -----------------------------------------------------------

int create(Tags tags) {
    if (text_of(tags, 143) != "rdv") return wrong_arguments;
    const std::string_view kind = text_of(tags, 146);
    if (kind == "manager") return set_result(tags, current().make_object(HostObject::Class::manager));
    TableKind table_kind = TableKind::data;
    if (kind == "factoid") {
        table_kind = TableKind::factoid;
    } else if (kind == "matrix") {
        table_kind = TableKind::matrix;
    } else if (kind != "data") {
        return wrong_arguments;
    }
    TableModel* const table = current().begin_table(table_kind, text_of(tags, 138), text_of(tags, 296));
    if (table_kind != TableKind::matrix) table->sets.emplace_back();
    if (table_kind == TableKind::factoid) {
        RowSet& set = table->sets.front();
        set.own_columns().resize(2);
        set.own_columns()[0].name = "Label";
        set.own_columns()[1].name = "Value";
        set.own_columns()[1].kind = ColumnKind::mixed;
        set.end_columns();
    }
    return set_result(tags, current().make_object(HostObject::Class::table, table));
}

int open_folder(Tags tags) {
    FolderLevel level;
    level.name = text_of(tags, 138);
    level.label = text_of(tags, 296);
    level.key = text_of(tags, 288);
    const std::size_t depth = current().open_folder(std::move(level));
    return set_result(tags, current().make_object(HostObject::Class::folder, nullptr, depth));
}

int title_line(Tags tags) {
    if (const Tag* const ended = find(tags, 442); ended != nullptr) {
        const int line = static_cast<int>(ended->value.integer);
        if (find(tags, 443) != nullptr) {
            current().end_titles_from(line);
        } else {
            current().set_title(line, {});
        }
        return 0;
    }
    const std::int64_t line = integer_of(tags, 440, 0);
    if (line < 1 || line > 1000) return wrong_arguments;
    current().set_title(static_cast<int>(line), text_of(tags, 577));
    return 0;
}

// ---- methods of tables --------------------------------------------------------------------------------------------

int put_row(TableModel& table) {
    if (table.kind != TableKind::data || !table.rows().ready()) return wrong_order;
    wtpoll();  // a long table is stopped by an interrupt
    RowSet& set = table.sets.front();
    if (const int fault = set.read_row(); fault >= 0) {
        report_fault(table, set, static_cast<std::size_t>(fault), set.rows());
    }
    return 0;
}

int define_column(TableModel& table, Tags tags) {
    if (table.kind != TableKind::data || table.rows().ready()) return wrong_order;
    constexpr std::array kinds{ColumnKind::character, ColumnKind::integer, ColumnKind::degrees, ColumnKind::number,
                               ColumnKind::buffer,    ColumnKind::text,    ColumnKind::string};
    TableColumn column;
    column.kind = static_cast<ColumnKind>(integer_of(tags, 103, 0));
    column.name = text_of(tags, 138);
    column.label = text_of(tags, 296);
    column.like = text_of(tags, 339);
    column.source = pointer_of<void>(tags, 285);
    const std::int64_t width = integer_of(tags, 289, integer_of(tags, 272, 0));
    const std::int64_t decimals = integer_of(tags, 270, -1);
    if (std::find(kinds.begin(), kinds.end(), column.kind) == kinds.end() || column.source == nullptr || width < 0 ||
        width > INT32_MAX || decimals > 99) {
        return wrong_arguments;
    }
    column.width = static_cast<std::int32_t>(width);
    column.decimals = static_cast<std::int16_t>(std::max<std::int64_t>(decimals, -1));
    table.sets.front().own_columns().push_back(std::move(column));
    return 0;
}

int set_table_attribute(TableModel& table, Tags tags) {
    const std::string_view key = text_of(tags, 311);
    const Tag* const value = find(tags, 287);
    if (key.empty() || value == nullptr) return wrong_arguments;
    if (find(tags, 103) == nullptr) {
        set_attribute(table.attributes, key, attribute_of(*value));
        return 0;
    }
    if (table.sets.empty() || table.rows().columns().empty()) return wrong_order;
    set_attribute(table.sets.front().own_columns().back().attributes, key, attribute_of(*value));
    return 0;
}

int add_item(TableModel& table, Tags tags) {
    const Tag* const value = find(tags, 287);
    if (table.kind != TableKind::factoid) return wrong_order;
    if (value == nullptr) return wrong_arguments;
    MixedValue item;
    item.width = static_cast<std::int16_t>(std::clamp<std::int64_t>(integer_of(tags, 272, 0), 0, 1000));
    item.decimals = static_cast<std::int16_t>(std::clamp<std::int64_t>(integer_of(tags, 270, -1), -1, 99));
    item.percent = find(tags, 105) != nullptr;
    if (value->type == type_integer) {
        item.kind = MixedValue::Kind::integer;
        item.integer = value->value.integer;
    } else if (value->type == type_number) {
        item.kind = MixedValue::Kind::number;
        item.number = value->value.number;
    } else {
        item.text = text_of(*value);
    }
    RowSet& set = table.sets.front();
    set.add_row();
    set.put_text(0, text_of(tags, 296));
    set.put_mixed(1, item);
    if (item.kind == MixedValue::Kind::number && is_fault(item.number)) report_fault(table, set, 1, set.rows());
    return 0;
}

int bind_template(TableModel& table, Tags tags) {
    table.path = text_of(tags, 339);
    return table.path.empty() ? wrong_arguments : 0;
}

// Names come from fields of a fixed width.
std::string_view trimmed(std::string_view text) {
    while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
    return text;
}

int fill_matrix(TableModel& table, Tags tags) {
    if (table.kind != TableKind::matrix) return wrong_order;
    std::span<const std::string_view> rownames = texts_of(tags, 409), columnnames = texts_of(tags, 399);
    const bool first = table.sets.empty();
    const std::size_t rows = first ? rownames.size() : table.rows().rows();
    const std::size_t columns = first ? columnnames.size() : table.rows().columns().size() - 1;
    if ((!rownames.empty() && rownames.size() != rows) || (!columnnames.empty() && columnnames.size() != columns)) {
        return wrong_arguments;
    }
    const auto* const element = pointer_of<MatrixElement>(tags, 112);
    const void* const context = pointer_of<void>(tags, 226);
    const auto* const values = pointer_of<double>(tags, 389);
    const auto stride = static_cast<std::size_t>(std::max<std::int64_t>(integer_of(tags, 392, 0), 0));
    if ((element == nullptr) == (values == nullptr)) return wrong_arguments;
    if (values != nullptr && (stride == 0 ? rows != columns : stride < columns)) return wrong_arguments;

    RowSet set;
    set.own_columns().resize(columns + 1);
    set.own_columns()[0].name = "Row";
    for (std::size_t j = 0; j < columns; ++j) {
        TableColumn& column = set.own_columns()[j + 1];
        column.name = columnnames.empty() ? table.rows().columns()[j + 1].name : std::string(trimmed(columnnames[j]));
        column.kind = ColumnKind::number;
        column.width = static_cast<std::int16_t>(std::clamp<std::int64_t>(integer_of(tags, 278, 0), 0, 1000));
        column.decimals = static_cast<std::int16_t>(std::clamp<std::int64_t>(integer_of(tags, 393, -1), -1, 99));
    }
    set.end_columns();
    for (std::size_t i = 0; i < rows; ++i) {
        set.add_row();
        set.put_text(0, rownames.empty() ? table.rows().text(i, 0) : trimmed(rownames[i]));
        for (std::size_t j = 0; j < columns; ++j) {
            double value = 0;
            if (element != nullptr) {
                value = (*element)(context, static_cast<int>(i), static_cast<int>(j));
            } else if (stride > 0) {
                value = values[i * stride + j];
            } else {
                const std::size_t low = std::max(i, j);
                value = values[low * (low + 1) / 2 + std::min(i, j)];
            }
            set.put_number(j + 1, value);
            if (is_fault(value) && !set.columns()[j + 1].reported) report_fault(table, set, j + 1, i + 1);
        }
    }
    table.sets.push_back(std::move(set));
    table.blocks.push_back({std::string(text_of(tags, 105)), std::string(text_of(tags, 471))});
    return 0;
}

// Titles and header keys of matrices carry ";" between their lines.
std::vector<std::string> lines_of(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(';'), text.size());
        const std::string_view line = trimmed(text.substr(0, end));
        if (!line.empty()) lines.emplace_back(line);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

int finish_matrix(TableModel& table, Tags tags) {
    if (table.kind != TableKind::matrix || table.sets.empty()) return wrong_order;
    table.path = text_of(tags, 339);
    table.name = text_of(tags, 138);
    table.label = text_of(tags, 296);
    table.titles = lines_of(text_of(tags, 267));
    table.corner = text_of(tags, 394);
    const std::int64_t width = integer_of(tags, 278, 0);
    if (table.path.empty() || width < 0 || width > INT16_MAX) return wrong_arguments;
    for (RowSet& set : table.sets) {
        for (TableColumn& column : set.own_columns()) {
            if (column.width == 0) column.width = static_cast<std::int16_t>(width);
        }
    }
    return 0;
}

int end_table(TableModel* table) {
    if (table->sets.empty() || (table->kind == TableKind::data && !table->rows().ready())) return wrong_order;
    for (RowSet& set : table->sets) {
        for (TableColumn& column : set.own_columns()) column.source = nullptr;
    }
    current().end_table(table);
    return 0;
}

// The classes stand in a chain: what a table does not know itself, any object may.
int object_method(HostObject& object, int method, Tags tags) {
    switch (method) {
        case 428:
            if (const Tag* const released = find(tags, 0); released != nullptr) {
                current().free_object(released->value.object);
                return 0;
            }
            return wrong_arguments;
        case 358: {
            const std::string_view text = text_of(tags, 577);
            if (object.table != nullptr) {
                object.table->notes.emplace_back(text);
            } else {
                current().note(text);
            }
            return 0;
        }
        default:
            return no_such_method;
    }
}

int manager_method(HostObject& object, int method, Tags tags) {
    switch (method) {
        case 147:
            return create(tags);
        case 300:
            return open_folder(tags);
        case 439:
            return title_line(tags);
        case 435:
            return 0;  // titles hold from the moment that they are set
        default:
            return object_method(object, method, tags);
    }
}

int table_method(HostObject& object, int method, Tags tags) {
    TableModel& table = *object.table;
    switch (method) {
        case 329:
            return put_row(table);
        case 338:
            return define_column(table, tags);
        case 316:
            return set_table_attribute(table, tags);
        case 298:
            if (table.kind != TableKind::data || table.rows().ready()) return wrong_order;
            table.sets.front().end_columns();
            return 0;
        case 422:
            return bind_template(table, tags);
        case 164:
            return add_item(table, tags);
        case 462:
            return fill_matrix(table, tags);
        case 388:
            return finish_matrix(table, tags);
        case 299:
            return end_table(&table);
        default:
            return object_method(object, method, tags);
    }
}

}  // namespace

void xobinit(HostObject** root, int) { *root = current().make_object(HostObject::Class::root); }

int wobmth(HostObject* object, int, int method, int count, const Tag* list) {
    if (object == nullptr) return no_such_method;
    const Tags tags(list, static_cast<std::size_t>(std::max(count, 0)));
    switch (object->kind) {
        case HostObject::Class::table:
            return table_method(*object, method, tags);
        case HostObject::Class::manager:
        case HostObject::Class::folder:
            return manager_method(*object, method, tags);
        case HostObject::Class::root:
            return method == 147 ? create(tags) : object_method(*object, method, tags);
    }
    return no_such_method;
}

int wobclose(HostObject* folder) {
    if (folder == nullptr || folder->kind != HostObject::Class::folder) return wrong_arguments;
    current().close_folder(folder->depth);
    current().free_object(folder);
    return 0;
}

}  // namespace vek
