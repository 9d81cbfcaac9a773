// Data sets as the module sees them: a directory of variables, BY groups, blocks of rows by column, and output lists.
//
// A block is a run of rows of the current BY group after WHERE=, FIRSTOBS= and OBS=, laid out by column and valid until
// the next block is asked for. Types and lengths are known when the data set is opened, and rows that cannot be read
// are found there too: nothing fails on the way for reasons of form.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vek {

struct DataSet;
struct FetchList;
struct PutList;

enum class VariableType : int { numeric = 1, character = 2 };

struct VariableDescriptor {
    std::string_view name;
    std::string_view label;  ///< empty when there is none
    VariableType type = VariableType::numeric;
    int length = 8;           ///< bytes: 8 for a number, the longest value's for a text
    std::string_view format;  ///< name of the format in effect, empty when there is none
    int formatwidth = 0;      ///< 0 when there is none
    int formatdecimals = 0;
};

int xvcount(const DataSet* data);
VariableDescriptor xvname(const DataSet* data, int variable);
int xvfind(const DataSet* data, std::string_view name);  ///< ignores case; -1 when there is none

/// Prepares the formats of the listed variables, so that their values can be formatted.
void xffile(DataSet* data, int request, const int* variables, int count);
void xvallv(DataSet* data);  ///< makes all variables available
/// Request 9: number of rows, -1 if unknown; 15: status bits (0x10000008: rows were written); 23: 1 for a data set that
/// can be read.
std::int64_t xoinfo(const DataSet* data, int request);
void xomsg(const DataSet* data);  ///< logs the host's note on a data set that was written: its name, rows, variables

bool xbynext(DataSet* data);  ///< moves to the next BY group; false behind the last. Without BY all rows are one group
void xbyrwnd(DataSet* data);  ///< back to the start of the current BY group
bool xbyuse(const DataSet* data);  ///< true when a BY statement is in force

/// A text of the current block.
struct TextValue {
    const char* data = nullptr;
    std::int32_t length = 0;  ///< without trailing blanks; 0 is a missing value
    std::int32_t blanks = 0;  ///< trailing ones; they stand behind it, and only copies of the value have them too

    std::string_view view() const { return {data, static_cast<std::size_t>(length)}; }
    std::string_view whole() const { return {data, static_cast<std::size_t>(length + blanks)}; }
};

/// One column of a block: `number` for a numeric variable (missing values as bit patterns), else `text`.
struct Column {
    const double* number = nullptr;
    const TextValue* text = nullptr;
};

FetchList* xvgeti(DataSet* data, int variables);  ///< begins a fetch list for up to that many variables
int xvgetd(FetchList* list, int variable);        ///< adds a variable (a second time: the same place); its place
void xvgete(FetchList* list);                     ///< ends the list
void xvgett(FetchList* list);                     ///< releases it; null is allowed

/// The next block of the BY group: fills one Column for each place of the list and returns the number of rows, 0 at the
/// end. Every list read after xbynext or xbyrwnd starts at the beginning of the group.
int xybget(FetchList* list, Column* columns);
/// File line, or row number for a data set in memory, of a row of the current block.
std::int64_t xorow(const FetchList* list, int row);

/// Formatted text of a value: 16 bytes, blank-padded, cut at a character's boundary. A number without format is written
/// in its best form of 12 characters, left-justified; one with a format as the format gives it, right-justified within
/// the format's width; a text and a labelled value as they stand. Returns the length without trailing blanks.
int xvfmtn(const DataSet* data, int variable, double value, char* text16);
/// The same for a number that becomes a level by this text. Warns, once for a variable, of different numbers that look
/// alike in it and are one level.
int xvfmtl(const DataSet* data, int variable, double value, char* text16);
int xvfmtc(const DataSet* data, int variable, TextValue value, char* text16);
/// The same without a limit of width, as the report shows a value.
std::string xvshown(const DataSet* data, int variable, double value);
std::string xvshown(const DataSet* data, int variable, TextValue value);

/// Tells the host, for its note on the step, that row `row` of the current block takes no part because of `variable`.
void xolost(FetchList* list, int variable, int row);
/// Rows of the group that were read, and those that the fit can use.
void xoused(DataSet* data, std::int64_t read, std::int64_t used);
/// The model is fitted again: what was counted and lost before no longer belongs to it.
void xorecount(DataSet* data);

// ---- writing ----------------------------------------------------------------------------------------------------

PutList* xvputi(DataSet* data);  ///< begins the variables of an output data set
/// A new variable whose values are read from `source` when rows are written: a double or a char[length] for each row of
/// the call. Negative when the data set has the name already.
int xvputd(PutList* list, std::string_view name, VariableType type, int length, const void* source,
           std::string_view label = {}, std::string_view format = {});
/// A variable copied with its name, type, length, label and format from place `place` of a fetch list. Negative when
/// the data set has the name already.
int xvputcv(PutList* list, const FetchList* from, int place);
void xvpute(PutList* list);  ///< ends the list: the data set has its variables now
/// Writes rows: copied variables come from rows `row`, `row` + 1, ... of their list's block, new ones from the first
/// `rows` values of their sources.
void xyvput(PutList* list, int row, int rows = 1);
void xvputt(PutList* list);   ///< releases the list
void xoclose(DataSet* data);  ///< an output data set is complete and can be put in place when the group ends

}  // namespace vek
