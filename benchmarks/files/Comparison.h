#pragma once

#include <functional>
#include <string>
#include <vector>

/// One way to do the work.
struct Contender {
    std::string name;
    std::function<double()> run;     ///< Does it once and gives the seconds that it took.
    std::function<void()> clearAway; ///< What is to be done after it, unmeasured; may be none.
};

double secondsOf(const std::function<void()>& work);

/// Runs a command, found through PATH, to its end. Throws std::runtime_error when it fails.
void runTool(const std::vector<std::string>& command);

/// Runs every contender once a round, in turns first and last, so that whatever disturbs the
/// machine disturbs all, and prints each one's time and its ratio to the first contender's of the
/// same round, as minimum / median / maximum.
void compare(const std::string& title, int rounds, const std::vector<Contender>& contenders);
