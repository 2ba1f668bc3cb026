#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// The ways to run a tool to its end, once. Each throws std::runtime_error when it fails.
void launchBare(const std::string& tool);
void launchWithQFTaskEx(const std::string& tool);
void launchWithQProcess(const std::string& tool);
/// With what the launcher promises: default signals, a group of its own, no other descriptors.
void launchCleanWithQProcess(const std::string& tool);

/// The ways to collect a tool's output. Each gives its size.
std::size_t captureBare(const std::vector<std::string>& command);
std::size_t captureWithQFTaskEx(const std::vector<std::string>& command);
