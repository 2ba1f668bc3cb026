#pragma once

#include "platform/AuthorizationServices.h"

/// Returns the sentence for the person about an administrator's right that was not obtained, or did
/// not help to move an item.
const char* explanationOf(platform::AuthorizationStatus right);
