// Writes a table model as a JSON object: what the table is, where it stands, its columns and its rows.
#include "host/table/table_json.h"

namespace vek {

namespace {

void write_texts(JsonWriter& json, std::string_view name, const std::vector<std::string>& first,
                 const std::vector<std::string>& second) {
    json.name(name);
    json.begin_array();
    for (const auto* list : {&first, &second}) {
        for (const std::string& text : *list) json.value(text);
    }
    json.end_array();
}

void write_attributes(JsonWriter& json, const std::vector<Attribute>& attributes) {
    json.name("attributes");
    json.begin_object();
    for (const Attribute& attribute : attributes) {
        json.name(attribute.key);
        switch (attribute.value.kind) {
            case AttributeValue::Kind::text:
                json.value(attribute.value.text);
                break;
            case AttributeValue::Kind::integer:
                json.value(attribute.value.integer);
                break;
            case AttributeValue::Kind::number:
                json.value(attribute.value.number);
                break;
        }
    }
    json.end_object();
}

// A column of items is an integer or a number column when all of its items are.
std::string_view mixed_type(const RowSet& set, std::size_t column) {
    bool integers = true, numbers = true;
    for (std::size_t row = 0; row < set.rows(); ++row) {
        const MixedValue::Kind kind = set.mixed(row, column).kind;
        integers = integers && kind == MixedValue::Kind::integer;
        numbers = numbers && kind != MixedValue::Kind::text;
    }
    if (set.rows() == 0) return "text";
    return integers ? "integer" : numbers ? "number" : "mixed";
}

std::string_view type_name(const RowSet& set, std::size_t column) {
    switch (set.columns()[column].kind) {
        case ColumnKind::integer:
        case ColumnKind::degrees:
            return "integer";
        case ColumnKind::number:
            return "number";
        case ColumnKind::mixed:
            return mixed_type(set, column);
        default:
            return "text";
    }
}

void write_cell(JsonWriter& json, const RowSet& set, std::size_t row, std::size_t column) {
    switch (set.columns()[column].kind) {
        case ColumnKind::integer:
        case ColumnKind::degrees:
            json.value(std::int64_t{set.integer(row, column)});
            break;
        case ColumnKind::number:
            json.value(set.number(row, column));
            break;
        case ColumnKind::character: {
            const char character = set.character(row, column);
            json.value(std::string_view(&character, 1));
            break;
        }
        case ColumnKind::mixed: {
            const MixedValue value = set.mixed(row, column);
            if (value.kind == MixedValue::Kind::text) json.value(value.text);
            if (value.kind == MixedValue::Kind::integer) json.value(value.integer);
            if (value.kind == MixedValue::Kind::number) json.value(value.number);
            break;
        }
        default:
            json.value(set.text(row, column));
    }
}

void write_set(JsonWriter& json, const RowSet& set, std::string_view prefix, std::string_view corner) {
    json.name("columns");
    json.begin_array();
    for (std::size_t j = 0; j < set.columns().size(); ++j) {
        const TableColumn& column = set.columns()[j];
        json.begin_object();
        const std::string name = j > 0 ? std::string(prefix) + column.name : column.name;
        json.member("name", name);
        json.member("label", !column.label.empty()       ? column.label
                             : j == 0 && !corner.empty() ? std::string(corner)
                                                         : column.name);
        json.member("type", type_name(set, j));
        write_attributes(json, column.attributes);
        json.end_object();
    }
    json.end_array();
    json.name("rows");
    json.begin_array();
    for (std::size_t row = 0; row < set.rows(); ++row) {
        json.line();
        json.begin_array();
        for (std::size_t j = 0; j < set.columns().size(); ++j) write_cell(json, set, row, j);
        json.end_array();
    }
    json.end_array();
}

}  // namespace

void write_table_json(JsonWriter& json, const TableModel& table) {
    const ReportContext& context = *table.context;
    json.line();
    json.begin_object();
    json.member("procedure", context.procedure);
    json.member("step", context.step);
    json.name("by");
    json.begin_object();
    for (const auto& [name, value] : context.by) json.member(name, value);
    json.end_object();
    json.name("path");
    json.begin_array();
    for (const FolderLevel& level : context.path) json.value(level.name);
    json.end_array();
    json.member("name", table.name);
    json.member("template", table.path);
    json.member("label", table.label);
    json.member("kind", table_kind_name(table.kind));
    write_texts(json, "titles", context.titles, table.titles);
    write_attributes(json, table.attributes);
    write_texts(json, "notes", table.above, table.notes);
    if (table.sets.size() == 1) {
        const std::string_view prefix = table.blocks.empty() ? std::string_view() : table.blocks.front().prefix;
        write_set(json, table.rows(), prefix, table.corner);
    } else {
        json.name("blocks");
        json.begin_array();
        for (std::size_t b = 0; b < table.sets.size(); ++b) {
            json.line();
            json.begin_object();
            json.member("key", table.blocks[b].key);
            write_set(json, table.sets[b], table.blocks[b].prefix, table.corner);
            json.end_object();
        }
        json.end_array();
    }
    json.end_object();
}

}  // namespace vek
