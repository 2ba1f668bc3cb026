#pragma once

#include "platform/AuthorizationServices.h"

#include <exception>
#include <string>

/// Returns the sentence for the person about an administrator's right that was not obtained, or did
/// not help to move an item.
const char* explanationOf(platform::AuthorizationStatus right);

/// Returns what an exception says to the person.
std::string explanationOf(const std::exception& exception);
