// zgmbld: observation records become sparse rows of X, and rows become crossproducts. The reading loop walks the
// records one by one; next_records hands them out in runs for loops that must be fast. sum_records is the whole loop of
// the fit: rows, crossproducts and column statistics of all records of the pass.
#pragma once

#include <cstdint>

#include "model/zgm.h"

namespace vek {

// ---- reading ------------------------------------------------------------------------------------------------------

/// Goes to the first record and reads on to the first one that zgmloln would stop at.
void zgmloli(ModelBlock& zgm, int minrt, bool needy);
/// Reads on to the next record whose type is at least `minrt` and, with `needy`, whose first dependent variable of the
/// pass is not missing; it stands in zgm.rec then. Stops at the end mark. Nobody else may use zgm.ufile in between.
void zgmloln(ModelBlock& zgm, int minrt, bool needy);
/// True while the current record is not the end mark.
inline bool zgmlolc(const ModelBlock& zgm) { return *zgm.rectype > record_end; }

/// A run of observation records, whole ones of zgm.reclen bytes, without the end mark.
struct RecordSpan {
    const std::byte* first = nullptr;
    std::int64_t count = 0;
    std::ptrdiff_t stride = 0;
};
/// Goes to the first record.
void rewind_records(ModelBlock& zgm);
/// The next run of records, all types; false at the end. It is valid until the next call, or until zgm.ufile is used.
bool next_records(ModelBlock& zgm, RecordSpan& span);

inline std::int16_t record_type(const std::byte* record) { return *reinterpret_cast<const std::int16_t*>(record); }
inline const std::int16_t* record_levels(const std::byte* record) {
    return reinterpret_cast<const std::int16_t*>(record) + 1;
}
/// The values: dependent variables, regressors, products (not filled), weight, frequency.
inline const double* record_values(const ModelBlock& zgm, const std::byte* record) {
    return reinterpret_cast<const double*>(record + zgm.valoffset);
}

// ---- rows ---------------------------------------------------------------------------------------------------------

/// Sets frequency and weight to 1 for data that have none.
void zgmacci(ModelBlock& zgm);
/// Builds the row of the record in zgm.rec: zgm.cols, zgm.vals, zgm.w, zgm.curlev. Returns a sum of the flags
/// zgmacc_bad_frequency and zgmacc_bad_weight (zgm.w is then missing) and zgmacc_unusable (a regressor is missing or a
/// level is not used in this pass: the columns are then not set).
int zgmacc(ModelBlock& zgm);
inline void zgmacce(ModelBlock&) {}

// ---- crossproducts ------------------------------------------------------------------------------------------------

/// Clears a packed triangle of order n at `base` and points rows[i][j], j >= i, into it.
void zgmalar(double* base, double** rows, int n);
/// Begins an accumulation: `colsum` and `absrow` are arrays of zgm.ncoly, cleared by the caller and here; `xpx` is the
/// triangle that zgm.xpxrows will point into, for mode 'R'.
void zgmscpi(ModelBlock& zgm, double* colsum, double* absrow, double* xpx, char mode);
/// Adds the current row, with weight zgm.w.
void zgmscp(ModelBlock& zgm);
/// Ends it; the number of groups of the last ABSORB variable, 0 without ABSORB.
int zgmscpe(ModelBlock& zgm);

void zgmabsi(ModelBlock& zgm, double* absrow);  ///< begins absorption
void zgmabs(ModelBlock& zgm);                   ///< takes the current row into its group
int zgmabse(ModelBlock& zgm);                   ///< closes the last group; number of groups of the last variable
/// Takes the mean of the finished group out of the crossproducts, and its sums to the ABSORB variables' own.
void absorbx(ModelBlock& zgm, bool final);

/// What the fit notes of the columns beside the crossproducts. All arrays are the caller's and cleared, but colmin,
/// which starts at the largest double.
struct ColumnStatistics {
    double* colss = nullptr;    ///< [ncoly] sums of w x²
    double* colmax = nullptr;   ///< [ncoly] largest |x|
    double* colmin = nullptr;   ///< [ncoly] smallest |x|
    double* yorigin = nullptr;  ///< [nyp] or null: takes the first row's dependent values, and is taken off all rows
    double* xmeans = nullptr;   ///< [nreg + nprod] sums of frequency * value
    double* counts = nullptr;   ///< [nreg + nprod] sums of frequencies
};

/// Between zgmscpi and zgmscpe: reads all records of the pass, adds their crossproducts to zgm.xpxrows, zgm.colsum and
/// zgm.sumw, and fills the statistics. The digits are those of zgmacc and zgmscp row by row.
void sum_records(ModelBlock& zgm, const ColumnStatistics& statistics);

}  // namespace vek
