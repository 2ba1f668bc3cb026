// Job files: whatever a property list says, its units have nothing but settings in sections, and
// tell whose they are.

#include "tests/fuzz/Fuzzing.h"

#include "platform/linux/plist/PropertyLists.h"
#include "platform/linux/tools/launchctl/JobUnits.h"

#include <regex>
#include <sstream>

using namespace qf::native;

namespace {

/// Looks at the beginning only: the library's matcher calls itself for each character.
bool isUnitLine(const std::string& line) {
    static const std::regex form(
        R"(#|\[(Unit|Service|Timer|Path|Install|X-Launchd)\]$|[A-Za-z]+=|$)");
    return line.find('\0') == std::string::npos &&
           std::regex_search(line, form, std::regex_constants::match_continuous);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto job = PropertyLists().parse(textOf(data, size));
    try {
        for (const auto& unit :
             launchctl::unitsOfJob(job, "/jobs/a.plist", launchctl::Domain::user)) {
            demand(launchctl::labelOfUnit(unit.text) == launchctl::labelOfJob(job));
            demand(launchctl::targetOfUnit(unit.text) == unit.wantedBy);
            std::istringstream lines(unit.text);
            for (std::string line; std::getline(lines, line);) {
                demand(isUnitLine(line));
            }
        }
    } catch (const launchctl::JobError&) {
        return 0;
    }
    return 0;
}
