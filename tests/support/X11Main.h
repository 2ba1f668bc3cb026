#pragma once

#include <string>

/// Why the tests of this program cannot run here; empty when they can.
std::string whyNoXServer();
