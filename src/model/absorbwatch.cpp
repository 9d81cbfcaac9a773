// watch_absorb: where the groups of the ABSORB variables end. A change in one variable begins a new group of it and of
// all that are nested in it. Only a value that differs from the row before is formatted.
#include <algorithm>
#include <cstring>

#include "frame/host_message.h"
#include "model/levelpass.h"

namespace vek {

namespace {

bool same_raw(const AbsorbWatch& watch, double number) {
    return std::memcmp(&watch.number, &number, sizeof number) == 0;
}

bool same_raw(const AbsorbWatch& watch, TextValue text) {
    return watch.length == text.length && std::memcmp(watch.raw, text.data, static_cast<std::size_t>(text.length)) == 0;
}

void keep_raw(AbsorbWatch& watch, double number) { watch.number = number; }

void keep_raw(AbsorbWatch& watch, TextValue text) {
    const bool fits = text.length <= static_cast<std::int32_t>(sizeof watch.raw);
    watch.length = fits ? text.length : -1;
    if (fits) std::copy_n(text.data, text.length, watch.raw);
}

void format_value(const ModelBlock& zgm, int variable, double number, char* text16) {
    xvfmtl(zgm.data, variable, number, text16);
}

void format_value(const ModelBlock& zgm, int variable, TextValue text, char* text16) {
    xvfmtc(zgm.data, variable, text, text16);
}

enum class Change { none, upward, downward };

/// Compares the row's value with the group's, and keeps it. Without a format numbers are compared as numbers: as texts
/// 10 would stand before 9.
template <class Value>
Change take_value(const ModelBlock& zgm, AbsorbWatch& watch, int variable, Value value) {
    if (same_raw(watch, value)) return Change::none;
    char text[16];
    format_value(zgm, variable, value, text);
    const double last = watch.number;
    const int order = std::memcmp(watch.text, text, sizeof text);
    keep_raw(watch, value);
    if (order == 0) return Change::none;
    std::memcpy(watch.text, text, sizeof text);
    const bool down = watch.unformatted ? watch.number < last : order > 0;
    return down ? Change::downward : Change::upward;
}

Change take_row(const ModelBlock& zgm, LevelPass& pass, int i, int row) {
    const Column& column = pass.columns[pass.absplace[i]];
    const int r = pass.start + row;
    AbsorbWatch& watch = pass.absorb[i];
    return column.number != nullptr ? take_value(zgm, watch, zgm.absvars[i], column.number[r])
                                    : take_value(zgm, watch, zgm.absvars[i], column.text[r]);
}

/// Takes the row's values; from the first variable that differs on, a new group begins.
void take_row(const ModelBlock& zgm, LevelPass& pass, int row) {
    const bool first_row = !pass.absorbing;
    pass.absorbing = true;
    bool changed = false;
    for (int i = 0; i < zgm.nabsorb; ++i) {
        const Change change = take_row(zgm, pass, i, row);
        if (first_row || (!changed && change == Change::none)) continue;
        if (!changed && change == Change::downward && !pass.unsorted_told) {
            xpmlog(172, 64);
            pass.unsorted_told = true;
        }
        changed = true;
        ++pass.absorb[i].counter;
    }
}

}  // namespace

void watch_absorb(ModelBlock& zgm, LevelPass& pass) {
    for (int r = 0; r < pass.rows; ++r) {
        if (pass.type[r] >= record_none) take_row(zgm, pass, r);
        for (int i = 0; i < zgm.nabsorb; ++i) pass.absorb[i].change[r] = pass.absorb[i].counter;
    }
}

}  // namespace vek
