// Messages of the session: memory, utility files, outputs, signals, faults.
#pragma once

#include "host/message/catalogue.h"

namespace vek {

inline constexpr CatalogueRow group_930[] = {
    {1, Level::error, "memory ran out at a request of {integer} byte{s}; the step ends here",
     "A smaller model, or ABSORB for a variable of many levels, needs less."},
    {2, Level::error, "memory ran out; the step ends here",
     "A smaller model, or ABSORB for a variable of many levels, needs less."},
    {3, Level::error, "a utility file could not be written: {text}",
     "Free some space where temporary files go, name another folder in TMPDIR, or raise the host option BUDGET."},
    {4, Level::error, "a utility file could not be read: {text}"},
    {5, Level::error, "a temporary file could not be made: {text}",
     "Name a folder that can be written to in TMPDIR, or raise the host option BUDGET."},
    {6, Level::error, "the step ended before its work was done (code {integer})"},
    {7, Level::error, "the program has a fault: code {integer} at {integer}; the step ends here",
     "Please report this with the program and its data."},
    {8, Level::error, "the program has a fault: {text}; the step ends here",
     "Please report this with the program and its data."},
    {10, Level::error, "{text} could not be written: {text}"},
    {11, Level::error, "{text} could not be put in place: {text}"},
    {12, Level::error, "standard output was closed before the report was complete"},
    {14, Level::error, "interrupted by signal {integer}; nothing of the unfinished run group is kept"},
    {15, Level::note, "interrupted; what was running stops here, and the step goes on"},
    {20, Level::error, "a limit of the procedure was reached; the step ends here"},
    {21, Level::note, "{text}"},
    {22, Level::error, "the table service failed with code {integer}: {text}"},
    {23, Level::error, "program text is not valid UTF-8 at byte {integer}"},
    {24, Level::error, "the CSV files could not be written to {text}: {text}"},
};
static_assert(sound(group_930));

}  // namespace vek
