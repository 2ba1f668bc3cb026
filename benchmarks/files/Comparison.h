#pragma once

#include <functional>
#include <string>
#include <vector>

/// One way to do the work.
struct Contender {
    std::string name;
    std::function<double()> run;     ///< Does it once and returns the seconds that it took.
    std::function<void()> clearAway; ///< Cleans up after it, unmeasured; may be empty.
};

double secondsOf(const std::function<void()>& work);

/// Runs a command, found through PATH, to its end. Throws std::runtime_error if it fails.
void runTool(const std::vector<std::string>& command);

/// Runs every contender once in each round, in changing order, so that disturbances affect all of
/// them. Prints as minimum / median / maximum each one's time and its ratio to the first
/// contender's in the same round.
void compare(const std::string& title, int rounds, const std::vector<Contender>& contenders);
