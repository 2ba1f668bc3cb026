#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// Run a tool to its end, once, in different ways. Each throws std::runtime_error if it fails.
void launchBare(const std::string& tool);
void launchWithQFTaskEx(const std::string& tool);
void launchWithQProcess(const std::string& tool);
/// Runs it as the launcher promises: default signals, its own group, no other descriptors.
void launchCleanWithQProcess(const std::string& tool);

/// Collect a tool's output in different ways. Each returns its size.
std::size_t captureBare(const std::vector<std::string>& command);
std::size_t captureWithQFTaskEx(const std::vector<std::string>& command);
