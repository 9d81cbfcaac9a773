// Data sets of a run as the host's other rooms see them: what a step has open, BY variables, formats and labels that a
// step lays over a data set, and the borders of steps and run groups at which data sets are put in place.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "frame/host_data.h"
#include "host/data/formats.h"
#include "host/message/log.h"

namespace vek {

// ---- called by the session --------------------------------------------------------------------------------------

/// A step begins: nothing is open.
void begin_step_data();
/// A run group ends. Outputs that xoclose has completed are put in place, in the order in which they were opened, when
/// `ok`; otherwise they are discarded. False after having reported that one could not be put in place.
bool end_run_group_data(bool ok);
/// The step ends: logs its note on rows read, used and lost, discards outputs that were not put in place, and releases
/// every data set that the step had open.
void end_step_data();
/// Writes every data set that the run made in memory to FOLDER/NAME.csv. False after having reported why not.
bool keep_data_sets(const std::string& folder);
/// Forgets everything: data sets in memory, validated files, value-label formats, what a step has open.
void reset_data();

// ---- called by the statement engine and the table room -----------------------------------------------------------

struct ByVariable {
    int variable = 0;
    bool descending = false;
};

/// The BY variables of the step, for the readings that follow; an empty list takes them back. `place` is the
/// statement's, for the error about data that are not sorted, which the first xbynext finds.
void set_by(DataSet* data, const std::vector<ByVariable>& variables, bool not_sorted, const Place& place);
/// Names of the BY variables and their values in the current group, as shown. Empty without BY or before the first
/// group.
std::vector<std::pair<std::string, std::string>> by_values(const DataSet* data);

/// True when a format of this kind can show the variable: the kinds must agree.
bool format_fits(const DataSet* data, int variable, const Format& format);
void set_format(DataSet* data, int variable, const Format& format);  ///< a format that fits; `none` takes it back
void set_label(DataSet* data, int variable, std::string_view label);

/// Where a text column of a file stops being one of numbers: `line 3 has "12 kg"`. Empty for all else.
std::string first_text_field(const DataSet* data, int variable);
/// How messages name the data set: its name, or its path as written.
std::string_view shown_name(const DataSet* data);

}  // namespace vek
