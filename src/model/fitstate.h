// What the fit of one pass leaves: degrees of freedom, column statistics, tolerances, and the positions of the streams
// that all reports read. Filled by vekxpx, vekxpxu, vekestl and vekss.
#pragma once

#include <cstdint>

#include "frame/host_storage.h"

namespace vek {

/// Header of a record in utility files 2 and 3; (last - first) doubles follow.
struct RecordHeader {
    std::int32_t row = 0, first = 0, last = 0, effect = 0, type = 0;
};

struct FitState {
    double singular = 1.110223024625157e-9;  ///< tolerance of the sweep, relative to a column's sum of squares
    double zeta = 1e-8;                      ///< tolerance of a coefficient

    // the work area: sized by each analysis, grown without keeping its content
    double* abase = nullptr;
    Pool* apool = nullptr;
    std::int64_t abytes = 0;

    int triny = 0;             ///< nyp(nyp + 1)/2
    std::int64_t trinyb = 0;   ///< its bytes
    int lny = 0;               ///< neff + nyp + 1
    int rank = 0;              ///< pivots taken
    std::int64_t dferror = 0;  ///< error degrees of freedom

    int* coleffect = nullptr;           ///< [q] effect number of each column; neff + k + 1 for dependent variable k
    std::int16_t* colpivot = nullptr;   ///< [q] 1 when swept in the forward sweep, and for dependent variables
    double *colsum = nullptr;           ///< [q] weighted sums
    double *colss = nullptr;            ///< [q] weighted sums of squares, corrected after the tolerance step
    double *colmax = nullptr;           ///< [q] largest absolute value
    double *coltol = nullptr;           ///< [q] singularity tolerance
    double *yss = nullptr;              ///< [nyp] raw sums of squares
    double *yorigin = nullptr;          ///< [nyp] the first used observation's values, or null
    double *xmeans = nullptr;           ///< [nreg + nprod] frequency-weighted means
    int *df1 = nullptr, *dfpart = nullptr, *df2 = nullptr, *df3 = nullptr, *df4 = nullptr;  ///< [lny] by effect
    std::int16_t* t4unique = nullptr;   ///< [neff + 1] 1 when the Type IV rows are unique
    std::int16_t* biased = nullptr;     ///< [p] 0 when row i of H is pure
    double* yy = nullptr;               ///< start of the y block of the triangle
    double *yywork = nullptr, *yypack = nullptr;  ///< [triny]
    char (*parmnames)[13] = nullptr;    ///< [p] blank-filled names of the parameters
    int *sweepstate = nullptr, *sweepwant = nullptr;  ///< [q] 1 or -1
    double *work1 = nullptr, *work2 = nullptr;

    UtilityFile *ufile2 = nullptr, *ufile3 = nullptr, *ufile4 = nullptr;
    RecordHeader urec;
    // file 2: solution, generalised inverse, H, and later streams
    FilePosition pos2 = 0, pos2b = 0, pos2g = 0, pos2h = 0, pos2end = 0, pos2stat = 0;
    // file 3: hypothesis rows
    FilePosition pos3t1 = 0, pos3t2 = 0, pos3t34 = 0, pos3end = 0, pos3app = 0;
    // file 4: sums, raw crossproducts, then matrices: error, Types I to IV, contrasts
    FilePosition pos4 = 0;
    FilePosition pos4type[6] = {};  ///< by type number: 0 error, 1 to 4 the types, 5 contrasts
};

}  // namespace vek
