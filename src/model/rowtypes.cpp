// classify_rows: the record type of every row of a chunk. Columns are tested one by one for anything amiss, which is
// rare; only rows that something stands against are looked at alone.
#include <algorithm>
#include <cmath>

#include "model/levelpass.h"
#include "numeric/missing.h"
#include "numeric/packed.h"

namespace vek {

namespace {

constexpr std::uint8_t bad_frequency = 1, bad_weight = 2, missing_key = 4, missing_regressor = 8,
                       missing_dependent = 16;
constexpr double largest_frequency = 2147483647;

/// Marks the rows for which `amiss` holds; a first walk without stores tells whether there are any. True when so.
template <class Value, class Amiss>
bool mark_rows(LevelPass& pass, const Value* values, std::uint8_t mark, const Amiss& amiss) {
    bool any = false;
    for (int r = 0; r < pass.rows; ++r) any |= amiss(values[r]);
    if (!any) return false;
    for (int r = 0; r < pass.rows; ++r) {
        if (amiss(values[r])) pass.trouble[r] = static_cast<std::uint8_t>(pass.trouble[r] | mark);
    }
    return true;
}

const double* numbers(const LevelPass& pass, int place) { return pass.columns[place].number + pass.start; }

bool text_is_missing(TextValue text) {
    if (text.length <= 16) return text.length <= 0;
    return std::all_of(text.data, text.data + 16, [](char c) { return c == ' '; });
}

bool mark_missing(LevelPass& pass, int place, std::uint8_t mark) {
    const Column& column = pass.columns[place];
    if (column.number != nullptr) {
        // Missing values are NaNs: the quick test finds columns that have none.
        const double* values = column.number + pass.start;
        bool any = false;
        for (int r = 0; r < pass.rows; ++r) any |= std::isnan(values[r]);
        return any && mark_rows(pass, values, mark, wzmis);
    }
    return mark_rows(pass, column.text + pass.start, mark, text_is_missing);
}

bool mark_trouble(const ModelBlock& zgm, LevelPass& pass) {
    bool any = false;
    if (zgm.nfreq > 0) {
        const auto bad = [](double f) { return wzmis(f) || !(f >= 1 && f <= largest_frequency); };
        any |= mark_rows(pass, numbers(pass, *pass.freqplace), bad_frequency, bad);
    }
    if (zgm.nwgt > 0) {
        const auto bad = [](double w) { return wzmis(w) || !(w > 0); };
        any |= mark_rows(pass, numbers(pass, *pass.wgtplace), bad_weight, bad);
    }
    for (int i = 0; i < zgm.nabsorb; ++i) any |= mark_missing(pass, pass.absplace[i], missing_key);
    for (int i = 0; i < zgm.nclass; ++i) any |= mark_missing(pass, pass.classplace[i], missing_key);
    for (int i = 0; i < zgm.nreg; ++i) any |= mark_missing(pass, pass.xplace[i], missing_regressor);
    for (int i = 0; i < zgm.ny; ++i) any |= mark_missing(pass, pass.yplace[i], missing_dependent);
    return any;
}

void cut_frequencies(const ModelBlock& zgm, LevelPass& pass) {
    if (zgm.nfreq == 0) return;
    const double* f = numbers(pass, *pass.freqplace);
    for (int r = 0; r < pass.rows; ++r)
        pass.frequency[r] = (pass.trouble[r] & bad_frequency) != 0 ? 0 : std::trunc(f[r]);
}

/// The first of the variables that is missing in the row.
int first_missing(const LevelPass& pass, const int* variables, const int* places, int n, int row) {
    for (int i = 0; i < n; ++i) {
        const Column& column = pass.columns[places[i]];
        const int r = pass.start + row;
        if (column.number != nullptr ? wzmis(column.number[r]) : text_is_missing(column.text[r])) return variables[i];
    }
    return -1;
}

void tell_lost(const ModelBlock& zgm, const LevelPass& pass, int row) {
    if (pass.rereading) return;
    const std::uint8_t trouble = pass.trouble[row];
    int variable = -1;
    if ((trouble & missing_key) != 0) {
        variable = first_missing(pass, zgm.absvars, pass.absplace, zgm.nabsorb, row);
        if (variable < 0) variable = first_missing(pass, zgm.classvars, pass.classplace, zgm.nclass, row);
    } else if ((trouble & missing_regressor) != 0) {
        variable = first_missing(pass, zgm.xvars, pass.xplace, zgm.nreg, row);
    } else if ((trouble & bad_frequency) != 0) {
        variable = zgm.freqvars[0];
    } else if ((trouble & bad_weight) != 0) {
        variable = zgm.wgtvars[0];
    } else {
        variable = first_missing(pass, zgm.yvars, pass.yplace, zgm.ny, row);
    }
    if (variable >= 0) xolost(pass.list, variable, pass.start + row);
}

/// Notes which dependent variables a row has; how many they are.
int find_present(const ModelBlock& zgm, LevelPass& pass, int row, std::uint64_t* active) {
    int present = 0;
    for (int i = 0; i < zgm.ny; ++i) {
        if (wzmis(pass.columns[pass.yplace[i]].number[pass.start + row])) continue;
        active[i >> 6] |= std::uint64_t{1} << (i & 63);
        ++present;
    }
    return present;
}

bool is_active(const std::uint64_t* active, int i) { return ((active[i >> 6] >> (i & 63)) & 1) != 0; }

/// A row that has some of the dependent variables tells them apart from the others.
void tell_apart(const ModelBlock& zgm, LevelPass& pass, const std::uint64_t* active) {
    for (int i = 0; i < zgm.ny; ++i) {
        for (int j = 0; j < i; ++j) {
            if (is_active(active, i) != is_active(active, j)) pass.together[zisub(i, j)] = 0;
        }
    }
}

/// The record type of a row that something stands against. `active` gets the dependent variables that the row counts
/// for; a row that counts for none leaves its levels without any.
std::int16_t troubled_type(const ModelBlock& zgm, LevelPass& pass, int row, std::uint64_t* active) {
    const std::uint8_t trouble = pass.trouble[row];
    if ((trouble & (missing_key | missing_regressor)) != 0) return record_missing;
    if ((trouble & (bad_frequency | bad_weight)) != 0) return record_none;
    const int present = find_present(zgm, pass, row, active);
    if (present == 0 || (zgm.multivar && present < zgm.ny)) {
        std::fill_n(active, pass.words, std::uint64_t{0});
        return record_none;
    }
    tell_apart(zgm, pass, active);
    return record_some;
}

double frequency_of(const ModelBlock& zgm, const LevelPass& pass, int row) {
    return zgm.nfreq > 0 ? pass.frequency[row] : 1;
}

/// Adds the chunk's frequencies to the total and, for usable rows, to the dependent variables that they have.
void count_observations(const ModelBlock& zgm, LevelPass& pass) {
    double total = pass.rows;
    if (zgm.nfreq > 0) {
        total = 0;
        for (int r = 0; r < pass.rows; ++r) total += pass.frequency[r];
    }
    pass.total += static_cast<std::int64_t>(total);
    pass.read += pass.rows;
    if (pass.clean) {
        pass.used += pass.rows;
        for (int i = 0; i < zgm.ny; ++i) zgm.ynobs[i] += static_cast<std::int64_t>(total);
        return;
    }
    for (int r = 0; r < pass.rows; ++r) {
        if (pass.type[r] < record_all) continue;
        ++pass.used;
        const auto f = static_cast<std::int64_t>(frequency_of(zgm, pass, r));
        const std::uint64_t* active = pass.active + std::ptrdiff_t{r} * pass.words;
        for (int i = 0; i < zgm.ny; ++i) {
            if (is_active(active, i)) zgm.ynobs[i] += f;
        }
    }
}

}  // namespace

void classify_rows(ModelBlock& zgm, LevelPass& pass) {
    std::fill_n(pass.trouble, pass.rows, std::uint8_t{0});
    // Without a dependent variable every row lacks all of them.
    pass.clean = !mark_trouble(zgm, pass) && zgm.ny > 0;
    cut_frequencies(zgm, pass);
    std::fill_n(pass.type, pass.rows, static_cast<std::int16_t>(record_all));
    if (!pass.clean) {
        for (int r = 0; r < pass.rows; ++r) {
            std::uint64_t* active = pass.active + std::ptrdiff_t{r} * pass.words;
            if (pass.trouble[r] == 0 && zgm.ny > 0) {
                std::copy_n(pass.all, pass.words, active);
                continue;
            }
            std::fill_n(active, pass.words, std::uint64_t{0});
            pass.type[r] = troubled_type(zgm, pass, r, active);
            if (pass.type[r] < record_all) tell_lost(zgm, pass, r);
        }
    }
    count_observations(zgm, pass);
}

}  // namespace vek
