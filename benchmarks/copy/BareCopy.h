#pragma once

#include "util/files/QFFileManager.h"

#include <string>
#include <vector>

/// Does the least that such a copy must do: the same reads, writes and read-backs by system calls,
/// and one digest. Throws if anything fails.
void copyBare(const std::string& source, const std::vector<std::string>& destinations,
              qf::VerificationType type);

/// Sets the source's dates on the destinations: the creation date by an attribute, as for files
/// that were not created then.
void keepDatesBare(const std::string& source, const std::vector<std::string>& destinations);
