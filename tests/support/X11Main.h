#pragma once

#include <string>

/// Returns why the tests of this program cannot run here; empty if they can.
std::string whyNoXServer();
