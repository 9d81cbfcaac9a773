// The streams of the fit: utility files 2, 3 and 4 with their typed readers and writers.
//
//   file 2   solution (b), generalised inverse (G) and generating rows (H) of the pivot columns, then statistics
//   file 3   hypothesis rows, one record each
//   file 4   matrices over the dependent variables, packed lower triangle by rows
#pragma once

#include "model/effect.h"
#include "model/fitstate.h"
#include "model/zgm.h"

namespace vek {

constexpr int matrix_error = 0, matrix_contrast = 5;  ///< types 1 to 4 are the hypothesis types
constexpr int row_type_contrast = 5, row_type_estimate = 7;

/// Opens the utility file on first use; goes to `position` when that is above 0 and the file was open; notes the position
/// in *note when given. A file that cannot be opened ends the run.
void vekutop(UtilityFile** file, FilePosition position, FilePosition* note);

/// Reads records from `position` on while their row is below n, each into rows[row] from its first element; active[row],
/// when given, is cleared for all rows and set for those read.
void vekugma(UtilityFile* file, FilePosition position, double* const* rows, std::int16_t* active, int n);

/// Writes a record: the header and its (last - first) doubles.
void put_record(UtilityFile* file, const RecordHeader& header, const double* values);
/// Writes an end mark with that row number; readers stop at it.
void put_end_mark(UtilityFile* file, int row);
/// Reads a header; false at an end mark or at the end of the stream.
bool get_header(UtilityFile* file, RecordHeader* header);

void get_inverse_rows(const FitState& F, double* const* rows);              ///< G rows, upper triangle, rows[i][j]
void get_solutions(const FitState& F, const ModelBlock& zgm, double* b);    ///< b rows, F.rank doubles apart
void get_generating_rows(const FitState& F, const ModelBlock& zgm, double* const* rows, std::int16_t* active);  ///< H

/// Position of the matrix of a type and effect number in file 4.
FilePosition matrix_position(const FitState& F, const ModelBlock& zgm, int type, int effect);
/// Reads that matrix: F.triny doubles.
void get_matrix(const FitState& F, const ModelBlock& zgm, int type, int effect, double* target);
/// The error matrix, and the matrix of a contrast by its number from 1.
void get_error_matrix(const FitState& F, double* target);
void get_contrast_matrix(const FitState& F, int contrast, double* target);

/// Error sum of squares of dependent variable k of the pass; one below 0 counts as 0. Uses F.yypack.
double error_ss(const FitState& F, int k);
/// Its mean square; missing without error degrees of freedom.
double error_ms(const FitState& F, double sse);

/// Appends the rows of a contrast or estimate (`count` rows of ncol doubles) to file 3, trimmed by zeta; the next one is
/// appended behind them.
void vekuput(FitState& F, const ModelBlock& zgm, int type, int number, const double* rows, int count);

/// Range of the elements of x with |x| >= zeta: first index and last index. False, with nothing stored, when there is
/// none.
bool veksubv(const double* x, int n, int* first, int* last, double zeta);

}  // namespace vek
