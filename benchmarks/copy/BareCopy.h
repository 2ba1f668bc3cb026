#pragma once

#include "util/files/QFFileManager.h"

#include <string>
#include <vector>

/// The least that such a copy must do: the same reads, writes and read-backs by system calls, and
/// one digest. Throws when anything fails.
void copyBare(const std::string& source, const std::vector<std::string>& destinations,
              VerificationType type);

/// Gives the destinations the source's dates: the creation date by an attribute, as files have it
/// that were not created then.
void keepDatesBare(const std::string& source, const std::vector<std::string>& destinations);
