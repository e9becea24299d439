// The log's files read in order into the story builder, line by line: the
// records go to the builder, and what could not be read is counted in each
// file's report (lines of another format, overlong lines, a last line cut
// short, a read error, a file gone since it was listed).
#pragma once

#include "explain/StoryBuilder.h"

#include <cstdio>
#include <string>
#include <vector>

namespace diag {

// Opens a file for reading with every sharing allowed (the service's file
// listener renames its files when it rotates them, and a reader must never
// stop it); null with the Windows error otherwise.
FILE* OpenForReading(const std::wstring& path, unsigned long& error);

// Reads `files` in order; input.files[i] is the report of files[i] (its path
// set by the caller).
void ReadLogFiles(const std::vector<std::wstring>& files, InputReport& input, StoryBuilder& builder);

}  // namespace diag
