// The data sets of a run by name, the files that have been validated, and what a step has open.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/data/data_file.h"
#include "host/data/dataset_parts.h"
#include "host/data/memory_table.h"

namespace vek {

/// A data set that the run has made.
struct MadeDataSet {
    std::string name;  ///< as written, or the path of a file
    bool is_path = false;
    FileForm form;                       ///< of a file
    std::shared_ptr<MemoryTable> table;  ///< of a name
};

/// The data set in memory of a name, ignoring case; null when there is none.
const MadeDataSet* find_made(std::string_view name);
/// The data set made last; null when there is none.
const MadeDataSet* last_made();

/// A validated file; one that has not changed since it was validated, and that nobody reads, is not validated again.
std::shared_ptr<DataFile> library_file(const std::string& path, const std::string& shown, const FileForm& form);

/// Adds a data set to those that the step has open.
DataSet* add_open(std::unique_ptr<DataSet> data);
/// True when the step writes this name or path already.
bool is_being_written(std::string_view name, bool is_path);
/// A closed output begins anew under the same name.
void reopen_output(DataSet* data);

}  // namespace vek
