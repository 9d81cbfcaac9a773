// The working context of the level pass. It lives with the procedure, so that a BY group finds its tables and buffers
// ready. Rows are worked on in chunks, step by step and column by column.
#pragma once

#include <cstdint>

#include "frame/host_data.h"
#include "frame/host_table.h"
#include "model/combinationtable.h"
#include "model/rowsums.h"
#include "model/valuetable.h"
#include "model/zgm.h"

namespace vek {

/// What the pass keeps for a level set beside its public list.
struct LevelSet {
    int capacity;              // levels that the arrays of the list have room for
    int nclass;                // class variables of a combination, 1 for a class variable
    const int* classes;        // which ones
    std::int64_t* count;       // class variable under ORDER=FREQ: sum of frequencies
    std::uint8_t* everywhere;  // 1 when all dependent variables are active at the level
    int incomplete;            // levels for which that is not so
    std::int16_t* level;       // [chunk] level numbers of the rows
    bool unformatted;          // numeric class variable without a format
    bool order_noted;          // the note on its order has been given
};

/// An ABSORB variable as the pass watches it.
struct AbsorbWatch {
    bool unformatted;
    char text[16];         // formatted value of the current group
    double number;         // raw value of the last row
    char raw[32];          // or its characters
    std::int32_t length;   // and their number; -1 when they did not fit
    std::int32_t counter;  // changes so far
    std::int32_t* change;  // [chunk] counters of the rows
};

struct LevelPass {
    Pool* pool;
    FetchList* list;  // dependent variables, regressors, frequency, weight, ABSORB, class variables
    Column* columns;  // of the current block
    int *yplace, *xplace, *freqplace, *wgtplace, *absplace, *classplace;
    int words;           // of a bitmap of dependent variables
    std::uint64_t* all;  // the bitmap with all of them
    bool frequency_order;

    LevelSet* sets;                  // [nlevset]
    ValueTable* values;              // [nclass]
    CombinationTable* combinations;  // [nlevset], those of class variables unused
    AbsorbWatch* absorb;             // [nabsorb]
    int* class_levels;               // [nclass] scratch: levels of a combination's class variables,
    std::int16_t* key;               // [nclass] and the numbers of one combination
    bool unsorted_told;
    bool absorbing;  // a row has set the ABSORB variables

    // the current chunk: `rows` rows from row `start` of the block on
    int chunk;  // most rows
    int start, rows;
    bool clean;             // every row is usable for all dependent variables
    std::uint8_t* trouble;  // [chunk] what stands against a row
    std::int16_t* type;     // [chunk] record types
    double* frequency;      // [chunk] whole frequencies; only with a FREQ variable
    std::uint64_t* active;  // [chunk][words] present dependent variables; only when not clean

    // Sums of the fit that are made while reading, instead of records. The records are made when somebody wants them.
    RowSums* sums;
    bool summing;    // so it is in the current BY group
    bool rereading;  // the records are made afterwards: what is told of rows has been told

    // the BY group
    std::uint8_t* together;  // triangle of dependent variables: 1 while no row tells the pair apart
    std::int64_t total;      // sum of frequencies
    std::int64_t read, used;
};

/// Makes the context and its fetch list.
LevelPass* make_level_pass(ModelBlock& zgm);
/// Forgets the levels and counts of the last BY group.
void begin_level_group(ModelBlock& zgm, LevelPass& pass);

/// True when the level pass has made the sums of the fit for the current pass, with or without a shift of the
/// dependents.
bool sums_made(const ModelBlock& zgm, bool shift);
/// Makes the records of the group when the level pass has made sums instead.
void need_records(ModelBlock& zgm);

/// Decides the record types of the chunk, counts its observations, and tells the host of lost rows.
void classify_rows(ModelBlock& zgm, LevelPass& pass);
/// Finds or makes the levels of the chunk in every level set; false when a set has too many.
bool find_levels(ModelBlock& zgm, LevelPass& pass);
/// Counts the changes of the ABSORB variables in the chunk, and warns once when they are not sorted.
void watch_absorb(ModelBlock& zgm, LevelPass& pass);

/// Puts the levels of every class variable in order and makes their texts.
void order_levels(ModelBlock& zgm, LevelPass& pass);
/// The tables ClassLevels and NObs, and what is to be told of missing dependent values.
void level_tables(const ModelBlock& zgm, const LevelPass& pass, HostObject* out);

}  // namespace vek
