// Where the rows of an output data set go: a table in memory, or a file that is put in place when it is complete.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/data/data_file.h"
#include "host/data/memory_table.h"

namespace vek {

class RowWriter {
  public:
    virtual ~RowWriter() = default;
    /// The variables, once, in front of the first row.
    virtual void define(const std::vector<Variable>& variables) = 0;
    /// Rows by column: the first `count` values of each, in the order of the variables.
    virtual void rows(const Column* columns, int count) = 0;
    /// Nothing more comes. False when anything has failed; error() tells what.
    virtual bool complete() = 0;
    /// Puts a complete file in place. False when it failed.
    virtual bool commit() = 0;
    virtual void discard() = 0;
    /// The table of a data set in memory; null for a file.
    virtual std::shared_ptr<MemoryTable> table() const { return nullptr; }
    virtual const std::string& error() const = 0;
};

std::unique_ptr<RowWriter> memory_writer();
/// Compressed by the ending of the path. Null with `error` set when the file cannot be opened.
std::unique_ptr<RowWriter> file_writer(const std::string& path, const FileForm& form, std::string* error);

/// Writes a table whole. False with `error` set.
bool write_table(const MemoryTable& table, const std::string& path, std::string* error);

}  // namespace vek
