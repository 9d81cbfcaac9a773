// The host's operations on data sets that are read: variables, fetch lists, blocks of the BY group, values as text, and
// the counts behind the step's note.
#include "host/data/dataset.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "frame/host_storage.h"
#include "host/data/dataset_parts.h"
#include "host/message/catalogue.h"
#include "host/message/number_text.h"
#include "host/statement/suggest.h"
#include "host/table/service.h"
#include "numeric/missing.h"

namespace vek {

namespace {

constexpr std::size_t many_places = 32;

/// Copies into 16 bytes with blanks behind; the length without trailing blanks.
int into_16(std::string_view text, char* text16) {
    text = cut_text(text, 16);
    std::memset(text16, ' ', 16);
    if (!text.empty()) std::memcpy(text16, text.data(), text.size());
    std::size_t length = text.size();
    while (length > 0 && text16[length - 1] == ' ') --length;
    return static_cast<int>(length);
}

std::string trimmed(std::string text) {
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? std::string() : text.substr(first);
}

/// The values of a group's BY variables in one line.
std::string by_text(const DataSet& data, const ByKey& key) {
    std::string text;
    for (std::size_t i = 0; i < data.by.size(); ++i) {
        const Variable& variable = data.variables[static_cast<std::size_t>(data.by[i].variable)];
        if (!text.empty()) text += " ";
        text += variable.name + "=";
        text += variable.type == VariableType::numeric ? trimmed(format_value(variable.format, key.numbers[i]))
                                                       : format_value(variable.format, std::string_view(key.texts[i]));
    }
    return text;
}

/// The error about BY data that are not in order ends the step.
void check_order(DataSet* data) {
    data->by_checked = true;
    if (data->by_not_sorted || data->by.empty()) return;
    const GroupedRows::Disorder disorder = data->rows->find_disorder();
    if (!disorder.found) return;
    const std::string key = by_text(*data, disorder.key), before = by_text(*data, disorder.before);
    const std::string unit = data->in_memory ? "row" : "line";
    if (disorder.first_line > 0) {
        report(910, 30, arguments(key, data->shown, unit, disorder.first_line, unit, disorder.line), data->by_place);
    } else {
        report(910, 31, arguments(data->shown, key, unit, disorder.line, before), data->by_place);
    }
    xexit(2000, 910);
}

/// What has left no row, for the end of a message.
std::string reason_of_emptiness(const DataSet& data) {
    const auto rows = [](std::int64_t n) { return std::to_string(n) + (n == 1 ? " row" : " rows"); };
    const bool conditions = data.reference_where.given() || data.step_where.given();
    const std::int64_t held = data.rows->held();
    if (data.source_rows == 0) return ": it has no rows";
    if (data.last < data.first) return ": OBS= takes none of its " + rows(data.source_rows);
    if (held == 0 && conditions) return ": WHERE holds for none of its " + rows(data.source_rows);
    return ": FIRSTOBS= passes over all " + rows(held) + (conditions ? " that WHERE holds for" : "");
}

}  // namespace

void NameTable::build(const std::vector<Variable>& variables) {
    places_.clear();
    for (std::size_t i = 0; i < variables.size(); ++i) {
        places_.emplace(folded_name(variables[i].name), static_cast<int>(i));
    }
}

int NameTable::find(std::string_view name) const {
    const auto found = places_.find(folded_name(name));
    return found == places_.end() ? -1 : found->second;
}

void apply_filter(DataSet* data) {
    std::vector<Where> conditions;
    for (const Where& where : {data->reference_where, data->step_where}) {
        if (where.given()) conditions.push_back(where);
    }
    data->rows->set_filter(std::move(conditions), data->first, data->last);
    data->by_checked = false;
}

// ---- variables --------------------------------------------------------------------------------------------------

int xvcount(const DataSet* data) { return static_cast<int>(data->variables.size()); }

VariableDescriptor xvname(const DataSet* data, int variable) {
    const Variable& v = data->variables[static_cast<std::size_t>(variable)];
    // A value-label format without a width is as wide as its longest label.
    const bool by_labels = v.format.kind == Format::Kind::labels && v.format.width == 0;
    const int width = by_labels ? v.format.labels->longest : v.format.width;
    return {v.name, v.label, v.type, v.length, v.format.name, width, v.format.decimals};
}

int xvfind(const DataSet* data, std::string_view name) { return data->names.find(name); }

void xffile(DataSet*, int, const int*, int) {}  // formats are ready as soon as they are named

void xvallv(DataSet*) {}  // all variables that KEEP= and DROP= leave are available

std::string_view shown_name(const DataSet* data) { return data->shown; }

std::string first_text_field(const DataSet* data, int variable) {
    if (data->file == nullptr) return {};
    const auto column = static_cast<std::size_t>(data->columns[static_cast<std::size_t>(variable)]);
    const FileVariable& source = data->file->variables[column];
    if (source.text_line == 0) return {};
    return "line " + std::to_string(source.text_line) + " has \"" + source.first_text + "\"";
}

std::int64_t xoinfo(const DataSet* data, int request) {
    switch (request) {
        case 9:
            if (data->output) return data->written;
            if (data->reference_where.given() || data->step_where.given()) return -1;
            return std::max<std::int64_t>(0, std::min(data->source_rows, data->last) - data->first + 1);
        case 15:
            return data->written > 0 ? 0x10000008 : 0;
        case 23:
            return data->output ? 0 : 1;
        default:
            return -1;
    }
}

// ---- BY groups --------------------------------------------------------------------------------------------------

void set_by(DataSet* data, const std::vector<ByVariable>& variables, bool not_sorted, const Place& place) {
    data->by = variables;
    data->by_not_sorted = not_sorted;
    data->by_checked = false;
    data->by_place = place;
    std::vector<ByColumn> columns;
    for (const ByVariable& by : variables) {
        const Variable& variable = data->variables[static_cast<std::size_t>(by.variable)];
        columns.push_back({data->columns[static_cast<std::size_t>(by.variable)], variable.type, by.descending, {}, {}});
    }
    data->rows->set_by(std::move(columns));
}

bool xbynext(DataSet* data) {
    if (!data->by_checked) {
        std::vector<ByColumn> columns;
        for (const ByVariable& by : data->by) {
            const Variable& variable = data->variables[static_cast<std::size_t>(by.variable)];
            ByColumn column{data->columns[static_cast<std::size_t>(by.variable)], variable.type, by.descending, {}, {}};
            // Groups are those of the formatted values, where there is a format.
            if (variable.format.given()) {
                column.format_number = [format = variable.format](double value) { return format_value(format, value); };
                column.format_text = [format = variable.format](TextValue value) {
                    return format_value(format, value.view());
                };
            }
            columns.push_back(std::move(column));
        }
        data->rows->set_by(std::move(columns));
        check_order(data);
    }
    const bool some = data->rows->next_group();
    if (some && !data->by.empty()) tables().group_begins(by_values, data);
    if (!some) tables().set_by({});  // what comes now belongs to no group
    if (some && data->rows->empty() && !data->told_empty) {
        data->told_empty = true;
        report(910, 41, arguments(data->shown, reason_of_emptiness(*data)), {});
    }
    return some;
}

void xbyrwnd(DataSet* data) { data->rows->rewind_group(); }

bool xbyuse(const DataSet* data) { return !data->by.empty(); }

std::vector<std::pair<std::string, std::string>> by_values(const DataSet* data) {
    std::vector<std::pair<std::string, std::string>> values;
    if (data->by.empty() || !data->rows->in_group() || data->rows->empty()) return values;
    const ByKey& key = data->rows->key();
    for (std::size_t i = 0; i < data->by.size(); ++i) {
        const Variable& variable = data->variables[static_cast<std::size_t>(data->by[i].variable)];
        values.emplace_back(variable.name, variable.type == VariableType::numeric
                                               ? trimmed(format_value(variable.format, key.numbers[i]))
                                               : format_value(variable.format, std::string_view(key.texts[i])));
    }
    return values;
}

// ---- fetching ---------------------------------------------------------------------------------------------------

FetchList* xvgeti(DataSet* data, int variables) {
    std::unique_ptr<FetchList> list;
    if (data->free_lists.empty()) {
        list = std::make_unique<FetchList>();
    } else {
        list = std::move(data->free_lists.back());
        data->free_lists.pop_back();
        list->variables.clear();
        list->places.clear();
        list->cursor = {};
    }
    list->data = data;
    list->variables.reserve(static_cast<std::size_t>(std::max(0, variables)));
    data->lists.push_back(std::move(list));
    return data->lists.back().get();
}

int xvgetd(FetchList* list, int variable) {
    const auto count = list->variables.size();
    if (count < many_places) {
        const auto found = std::find(list->variables.begin(), list->variables.end(), variable);
        if (found != list->variables.end()) return static_cast<int>(found - list->variables.begin());
    } else {
        if (list->places.empty()) {
            for (std::size_t i = 0; i < count; ++i) list->places.emplace(list->variables[i], static_cast<int>(i));
        }
        const auto [place, added] = list->places.emplace(variable, static_cast<int>(count));
        if (!added) return place->second;
    }
    list->variables.push_back(variable);
    return static_cast<int>(count);
}

void xvgete(FetchList* list) { list->columns.assign(list->variables.size(), {}); }

void xvgett(FetchList* list) {
    if (list == nullptr) return;
    DataSet* data = list->data;
    const auto found = std::find_if(data->lists.rbegin(), data->lists.rend(),
                                    [list](const std::unique_ptr<FetchList>& one) { return one.get() == list; });
    if (found == data->lists.rend()) return;
    data->free_lists.push_back(std::move(*found));
    data->lists.erase(std::next(found).base());
}

int xybget(FetchList* list, Column* columns) {
    DataSet* data = list->data;
    const int rows = data->rows->next_rows(&list->cursor, &list->first_row);
    if (rows == 0) return 0;
    RowSource& source = data->rows->source();
    const auto first = static_cast<std::size_t>(list->first_row);
    for (std::size_t i = 0; i < list->variables.size(); ++i) {
        const auto variable = static_cast<std::size_t>(list->variables[i]);
        const int column = data->columns[variable];
        Column& out = columns[i];
        if (data->variables[variable].type == VariableType::numeric) {
            out = {source.numbers(column) + first, nullptr};
        } else {
            out = {nullptr, source.texts(column) + first};
        }
        list->columns[i] = out;
    }
    return rows;
}

std::int64_t xorow(const FetchList* list, int row) { return list->data->rows->source().line(list->first_row + row); }

// ---- values as text ---------------------------------------------------------------------------------------------

namespace {

/// A number by its variable's format, where that is a number's form in at most 16 characters.
std::string text_of_16(const DataSet& data, int variable, double value) {
    const Format& format = data.variables[static_cast<std::size_t>(variable)].format;
    const bool digits = format.kind == Format::Kind::fixed || format.kind == Format::Kind::best;
    if (!digits || format.width <= 16) return format_value(format, value);
    // The digits stand at the right, so the format is narrowed, not its text cut.
    Format narrow = format;
    narrow.width = 16;
    return format_value(narrow, value);
}

/// True for numbers that differ by more than rounding.
bool differ(double a, double b) { return std::fabs(a - b) > 1e-14 * std::fmax(std::fabs(a), std::fabs(b)); }

/// Warns of a number that looks like another of its variable: they are one level where the variable is a class.
void watch_cut_number(const DataSet* data, int variable, double value, const std::string& text) {
    constexpr double shown_whole = 1e11;  // whole numbers below it have all their digits
    constexpr std::size_t most = 100000;
    if (wzmis(value) || (std::fabs(value) < shown_whole && value == std::floor(value))) return;
    CutNumbers& cut = data->cut_numbers[variable];
    if (cut.told || cut.seen.size() > most) return;
    const auto [at, first] = cut.seen.emplace(text, value);
    if (first || !differ(at->second, value)) return;
    const double other = at->second;
    cut.told = true;
    cut.seen.clear();
    report(910, 45,
           arguments(data->variables[static_cast<std::size_t>(variable)].name,
                     fmt::format("{}", std::min(other, value)), fmt::format("{}", std::max(other, value))),
           {});
}

/// Warns of a number that the variable's format has no room for: all of them look alike.
void watch_narrow_format(const DataSet* data, int variable, double value) {
    if (std::exchange(data->cut_numbers[variable].told, true)) return;
    const Variable& v = data->variables[static_cast<std::size_t>(variable)];
    report(910, 46, arguments(v.name, std::min(v.format.width, 16), fmt::format("{}", value)), {});
}

}  // namespace

int xvfmtn(const DataSet* data, int variable, double value, char* text16) {
    return into_16(text_of_16(*data, variable, value), text16);
}

int xvfmtl(const DataSet* data, int variable, double value, char* text16) {
    const std::string text = text_of_16(*data, variable, value);
    const Format& format = data->variables[static_cast<std::size_t>(variable)].format;
    if (!format.given()) {
        watch_cut_number(data, variable, value, text);
    } else if (text.ends_with('*') && format.kind != Format::Kind::labels) {
        watch_narrow_format(data, variable, value);
    }
    return into_16(text, text16);
}

int xvfmtc(const DataSet* data, int variable, TextValue value, char* text16) {
    const Format& format = data->variables[static_cast<std::size_t>(variable)].format;
    if (!format.given()) return into_16(value.view(), text16);
    return into_16(format_value(format, value.view()), text16);
}

std::string xvshown(const DataSet* data, int variable, double value) {
    return format_value(data->variables[static_cast<std::size_t>(variable)].format, value);
}

std::string xvshown(const DataSet* data, int variable, TextValue value) {
    return format_value(data->variables[static_cast<std::size_t>(variable)].format, value.view());
}

bool format_fits(const DataSet* data, int variable, const Format& format) {
    const bool text = data->variables[static_cast<std::size_t>(variable)].type == VariableType::character;
    return !format.given() || format.for_text() == text;
}

void set_format(DataSet* data, int variable, const Format& format) {
    data->variables[static_cast<std::size_t>(variable)].format = format;
}

void set_label(DataSet* data, int variable, std::string_view label) {
    data->variables[static_cast<std::size_t>(variable)].label = label;
}

// ---- counts -----------------------------------------------------------------------------------------------------

void xolost(FetchList* list, int variable, int row) {
    DataSet* data = list->data;
    if (data->losses.empty()) data->losses.resize(data->variables.size());
    Loss& loss = data->losses[static_cast<std::size_t>(variable)];
    ++loss.rows;
    if (loss.lines.size() < lines_of_loss) loss.lines.push_back(xorow(list, row));
}

void xoused(DataSet* data, std::int64_t read, std::int64_t used) {
    data->counted = true;
    data->read += read;
    data->used += used;
}

void xorecount(DataSet* data) {
    data->read = data->used = 0;
    data->losses.clear();
}

ExpressionVariable find_for_condition(const DataSet& data, std::string_view name) {
    const auto made = [](const Variable& variable, int column) {
        return ExpressionVariable{column, variable.type == VariableType::character, {}, {}};
    };
    if (const int variable = data.names.find(name); variable >= 0) {
        return made(data.variables[static_cast<std::size_t>(variable)],
                    data.columns[static_cast<std::size_t>(variable)]);
    }
    const std::string folded = folded_name(name);
    for (std::size_t c = 0; c < data.source_variables.size(); ++c) {
        if (folded_name(data.source_variables[c].name) == folded) {
            return made(data.source_variables[c], static_cast<int>(c));
        }
    }
    for (const auto& [old_name, column] : data.old_names) {
        if (old_name == folded) return made(data.source_variables[static_cast<std::size_t>(column)], column);
    }
    std::string nearest = nearest_variable(data.variables, name);
    std::string expected = nearest.empty() ? some_variables(data.variables) : std::string();
    return {-1, false, std::move(nearest), std::move(expected)};
}

std::string nearest_variable(const std::vector<Variable>& variables, std::string_view name) {
    Nearest nearest(name);
    for (const Variable& variable : variables) nearest.offer(variable.name);
    return name_as_written(nearest.best());
}

std::string some_variables(const std::vector<Variable>& variables) {
    return some_of("one of its variables", static_cast<int>(variables.size()),
                   [&](int v) { return variables[static_cast<std::size_t>(v)].name; });
}

}  // namespace vek
