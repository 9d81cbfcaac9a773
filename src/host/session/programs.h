// The programs and the data files of the command line: found and read before anything runs.
#pragma once

#include <string>
#include <vector>

#include "host/session/session.h"

namespace vek {

/// Reads every program; standard input on a terminal becomes a prompt. False with the reason when one cannot be read.
bool read_programs(const CommandLine& command, std::vector<ProgramText>* programs, std::string* reason);
/// True when each file that --data names can be opened.
bool data_can_be_read(const CommandLine& command, const std::vector<ProgramText>& programs, std::string* reason);
/// A relative path as it is found: from the current directory, else from the folder.
std::string path_to_read(const std::string& path, const std::string& folder);

}  // namespace vek
