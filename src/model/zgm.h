// The model block zgm: variables, effects, class levels, the observation record and the layout of X. It is the
// parameter of all model functions (z...), which depend on nothing else of the main block.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/host_data.h"
#include "frame/host_storage.h"
#include "model/effect.h"

namespace vek {

/// An unformatted value of a class variable: a number, or 16 blank-padded characters.
struct RawValue {
    char bytes[16];

    double number() const {
        double value;
        std::memcpy(&value, bytes, sizeof value);
        return value;
    }
};

/// The levels of a level set that occur in the BY group. Each level has a number, given at first appearance; the arrays
/// are indexed by it. Rebuilt for each group by zlvknt, kept until the next one.
struct LevelList {
    int count = 0;
    std::int16_t* order = nullptr;    ///< [count] level numbers in the final order; null for a combination
    char (*text)[16] = nullptr;       ///< class variable: blank-padded level texts
    RawValue* raw = nullptr;          ///< class variable: lowest raw value with the text
    std::int16_t* key = nullptr;      ///< combination: level numbers of its class variables
    std::uint64_t* active = nullptr;  ///< bitmaps of the dependent variables that are present at the level
    int words = 0;                    ///< of one bitmap
};

/// A level table: a level set with a split into crossed and nested variables.
struct LevelTable {
    std::int16_t* levels =
        nullptr;                  ///< for each column, the column of each class variable in that variable's own table
    std::int16_t* map = nullptr;  ///< level-set number to column, -1 when not in use in this pass
    int levset = -1;
    int nlev = 0;  ///< columns
};

/// What the reports need of a class variable.
struct ClassInfo {
    const char* name = nullptr;
    int namelen = 0;
    int fmtwidth = 0;  ///< longest level text, at most 16
    VariableType type = VariableType::numeric;
    int colwidth = 0;  ///< the larger of fmtwidth and namelen
};

/// An ABSORB variable and its sums.
struct AbsorbAcc {
    double sumw = 0;
    const char* name = nullptr;  ///< B(A), C(A B)
    VariableType type = VariableType::numeric;
    int nlevels = 0;
    int lastchange = 0;
};

/// Record types of an observation.
constexpr int record_all = 1;       ///< usable for all dependent variables
constexpr int record_some = 2;      ///< usable for some
constexpr int record_none = 0;      ///< usable for none, but its class levels count
constexpr int record_missing = -1;  ///< a class, ABSORB or regressor value is missing
constexpr int record_end = -2;      ///< end mark

/// One element with a continuous part: copy *source to *target for each row.
struct ContinuousPart {
    const double* source;
    double* target;
};
/// One element with a class part: its column is the table's current column plus the first column.
struct ClassPart {
    std::int32_t element;
    std::int32_t table;
    std::int32_t firstcol;
};

constexpr int zgmacc_bad_frequency = 1, zgmacc_bad_weight = 2, zgmacc_unusable = 4;

struct LevelPass;
struct RecordReader;
struct AbsorbGroup;

struct ModelBlock {
    // data set and options
    DataSet* data = nullptr;
    bool multivar = false;   ///< an observation missing in any dependent variable is dropped for all
    bool ytrack = true;      ///< level records carry bitmaps of the dependent variables
    bool multipass = false;  ///< values are fetched from the data set again at each use
    bool noprint = false;
    bool fitonly = false;       ///< nothing but the fit is known to read the observations: its sums may be made at once
    bool originshift = false;   ///< the fit takes the first row's dependent values off all rows
    bool noint1 = false;        ///< NOINT on the MODEL statement
    int noint = 0;              ///< 1 when X has no intercept column
    const char* order = "FOR";  ///< ORDER=, its first three letters

    // variables: counts and lists of variable numbers
    int ny = 0, nreg = 0, nclass = 0, nabsorb = 0, nfreq = 0, nwgt = 0;
    int *yvars = nullptr, *xvars = nullptr, *classvars = nullptr, *absvars = nullptr, *freqvars = nullptr,
        *wgtvars = nullptr;

    // effects
    int neff = 0;                                ///< without the intercept
    int nprod = 0;                               ///< effects with two or more continuous variables
    Effect** effects = nullptr;                  ///< [1 + neff + ny]: intercept or null, effects, dependent variables
    Effect** yeffects = nullptr;                 ///< the last ny of them
    EffectMod** modrecs = nullptr;               ///< [1 + neff]
    Effect* efhead = nullptr;                    ///< the chain
    Effect** prodeff = nullptr;                  ///< [nprod]
    VariableDescriptor* ydescriptors = nullptr;  ///< [ny]

    // level sets and tables
    int nlevset = 0, ntables = 0;
    int* nlev = nullptr;             ///< [nlevset] levels found
    LevelList* levlists = nullptr;   ///< [nlevset]
    LevelPass* levpass = nullptr;    ///< look-up tables of the level pass
    LevelTable* tables = nullptr;    ///< [ntables]
    char (**levvals)[16] = nullptr;  ///< [nclass] level texts in column order
    RawValue** levraw = nullptr;     ///< [nclass] lowest raw values in column order
    int* curlev = nullptr;           ///< [ntables] column of the current record
    ClassInfo* classes = nullptr;    ///< [nclass]
    AbsorbAcc* absorb = nullptr;     ///< [nabsorb]

    // the observation record: one buffer, with pointers into it
    std::byte* rec = nullptr;
    int lrecl = 0;                      ///< bytes that go to the file
    int reclen = 0;                     ///< bytes up to the weight, or all when there is a FREQ or WEIGHT variable
    int valoffset = 0;                  ///< where the values begin: yval, xval, prodval, wgtval, freqval
    std::int16_t* rectype = nullptr;    ///< at offset 0
    std::int16_t* levidx = nullptr;     ///< [nlevset]
    std::int32_t* abschange = nullptr;  ///< [nabsorb]
    double *yval = nullptr, *xval = nullptr, *prodval = nullptr, *wgtval = nullptr, *freqval = nullptr;
    UtilityFile* ufile = nullptr;
    FetchList* vget = nullptr;       ///< dependent variables, regressors, frequency, weight
    int* vplaces = nullptr;          ///< their places in the list
    RecordReader* reader = nullptr;  ///< where the reading loops stand

    // passes
    int npass = 0, pass = 1;
    std::int16_t* ypass = nullptr;  ///< [ny] present in the row while reading; afterwards the pass number, 0 none
    std::int64_t* ynobs = nullptr;  ///< [ny] sum of frequencies of the records that use it
    int nyp = 0;                    ///< dependent variables of the pass
    int* ylist = nullptr;           ///< [nyp] their indexes
    double* y1 = nullptr;           ///< the record's value of the first of them
    Pool* mainpool = nullptr;       ///< lives with the procedure
    Pool* pool = nullptr;           ///< lives with the pass

    // the design of the pass
    int ncol = 0;   ///< columns of X
    int ncoly = 0;  ///< ncol + nyp
    int nlevsum = 0;
    int* cols = nullptr;     ///< [neff + nyp + 1] column of each element of the sparse row
    double* vals = nullptr;  ///< likewise its value
    int ncontparts = 0, nclassparts = 0;
    ContinuousPart* contparts = nullptr;
    ClassPart* classparts = nullptr;
    double w = 0;  ///< weight of the current row: frequency * weight

    // crossproducts and absorption
    double* colsum = nullptr;  ///< [ncoly]
    double sumw = 0;
    double** xpxrows = nullptr;  ///< [ncoly] rows[i][j] for j >= i
    char accmode = 'R';
    double* absrow = nullptr;  ///< [ncoly] sums of the current innermost group
    double absw = 0;
    AbsorbGroup* absgroup = nullptr;           ///< columns that the group has touched
    double *absy = nullptr, *absss = nullptr;  ///< [nabsorb][nyp]
};

}  // namespace vek
