#pragma once

#include "platform/AuthorizationServices.h"

#include <exception>
#include <string>

/// Returns the sentence for the person, in the person's language, about an administrator's right
/// that was not obtained, or did not help to move an item.
std::string explanationOf(qf::AuthorizationStatus right);

/// Returns what an exception says to the person.
std::string explanationOf(const std::exception& exception);
