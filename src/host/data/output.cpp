// The host's operations on data sets that are written: the list of variables, the rows, the end.
#include <algorithm>

#include "frame/host_storage.h"
#include "host/data/dataset_parts.h"
#include "host/data/library.h"
#include "host/message/catalogue.h"
#include "host/statement/reader.h"

namespace vek {

namespace {

bool listed(const std::vector<DataSet::NameOption>& options, const std::string& folded) {
    return std::any_of(options.begin(), options.end(),
                       [&](const DataSet::NameOption& option) { return folded_name(option.name) == folded; });
}

/// The error about a name in an option of the output ends the step.
[[noreturn]] void refuse(int number, const std::string& name, const DataSet::NameOption& option, const DataSet& data) {
    const StatementReader* reader = StatementReader::current();
    report(910, number, arguments(name, data.shown), option.place, {},
           reader != nullptr ? reader->marked(option.place) : std::string());
    xexit(2000, 911);
}

void check_names(const DataSet& data) {
    for (const auto* options : {&data.keep, &data.drop, &data.rename}) {
        for (const DataSet::NameOption& option : *options) {
            if (data.names.find(option.name) < 0) refuse(50, option.name, option, data);
        }
    }
}

}  // namespace

PutList* xvputi(DataSet* data) {
    if (data->closed) reopen_output(data);
    data->puts.push_back(std::make_unique<PutList>());
    data->puts.back()->data = data;
    if (!data->defined) {
        data->variables.clear();
        data->names.build({});
    }
    return data->puts.back().get();
}

static int add(PutList* list, Variable variable, PutList::Item item) {
    DataSet* data = list->data;
    const std::string folded = folded_name(variable.name);
    const bool taken = std::any_of(data->variables.begin(), data->variables.end(),
                                   [&](const Variable& one) { return folded_name(one.name) == folded; });
    if (taken) return -1;
    item.variable = static_cast<int>(data->variables.size());
    item.type = variable.type;
    item.length = variable.length;
    data->variables.push_back(std::move(variable));
    list->items.push_back(item);
    return item.variable;
}

int xvputd(PutList* list, std::string_view name, VariableType type, int length, const void* source,
           std::string_view label, std::string_view format) {
    Variable variable;
    variable.name = name;
    variable.label = label;
    variable.type = type;
    variable.length = length;
    variable.format = format_from_text(format, 0, 0);
    PutList::Item item;
    item.source = source;
    return add(list, std::move(variable), item);
}

int xvputcv(PutList* list, const FetchList* from, int place) {
    PutList::Item item;
    item.from = from;
    item.place = place;
    return add(list, from->data->variables[static_cast<std::size_t>(from->variables[static_cast<std::size_t>(place)])],
               item);
}

void xvpute(PutList* list) {
    DataSet* data = list->data;
    if (data->defined) return;
    data->names.build(data->variables);
    check_names(*data);
    std::vector<Variable> kept;
    for (PutList::Item& item : list->items) {
        Variable variable = data->variables[static_cast<std::size_t>(item.variable)];
        const std::string folded = folded_name(variable.name);
        const bool out = (data->has_keep && !listed(data->keep, folded)) || listed(data->drop, folded);
        item.variable = out ? -1 : static_cast<int>(kept.size());
        if (out) continue;
        for (const DataSet::NameOption& option : data->rename) {
            if (folded_name(option.name) == folded) variable.name = option.new_name;
        }
        kept.push_back(std::move(variable));
    }
    data->variables = std::move(kept);
    data->names.build(data->variables);
    for (const DataSet::NameOption& option : data->rename) {
        const auto same = std::count_if(data->variables.begin(), data->variables.end(), [&](const Variable& one) {
            return folded_name(one.name) == folded_name(option.new_name);
        });
        if (same > 1) refuse(51, option.new_name, option, *data);
    }
    data->writer->define(data->variables);
    data->defined = true;
}

namespace {

/// Texts of `length` bytes, blank-padded or ended by a zero byte, as values.
const TextValue* padded_texts(PutList::Item& item, int rows) {
    item.texts.resize(static_cast<std::size_t>(rows));
    const char* source = static_cast<const char*>(item.source);
    for (TextValue& value : item.texts) {
        std::string_view text(source, static_cast<std::size_t>(item.length));
        text = text.substr(0, text.find('\0'));
        while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
        value = {text.data(), static_cast<std::int32_t>(text.size())};
        source += item.length;
    }
    return item.texts.data();
}

}  // namespace

void xyvput(PutList* list, int row, int rows) {
    list->columns.clear();
    for (PutList::Item& item : list->items) {
        if (item.variable < 0) continue;
        Column column;
        if (item.from != nullptr) {
            column = item.from->columns[static_cast<std::size_t>(item.place)];
            if (item.type == VariableType::numeric) {
                column.number += row;
            } else {
                column.text += row;
            }
        } else if (item.type == VariableType::numeric) {
            column.number = static_cast<const double*>(item.source);
        } else {
            column.text = padded_texts(item, rows);
        }
        list->columns.push_back(column);
    }
    list->data->writer->rows(list->columns.data(), rows);
    list->data->written += rows;
}

void xvputt(PutList* list) {
    if (list == nullptr) return;
    auto& puts = list->data->puts;
    puts.erase(std::remove_if(puts.begin(), puts.end(),
                              [list](const std::unique_ptr<PutList>& one) { return one.get() == list; }),
               puts.end());
}

void xomsg(const DataSet* data) {
    if (data->failed) return;  // which is told when it should be put in place
    report(910, 42, arguments(data->shown, data->written, data->variables.size()), {});
}

void xoclose(DataSet* data) {
    if (data->closed) return;
    if (!data->defined) {
        data->writer->define(data->variables);
        data->defined = true;
    }
    data->closed = true;
    data->failed = !data->writer->complete();
}

}  // namespace vek
