// Records of runs, whose lines are sealed here as far as they are JSON: what a record says is only
// what a run of the plan could have recorded, and reads the same when it is written again.

#include "tests/fuzz/Fuzzing.h"

#include "app/records/RunRecord.h"
#include "platform/Services.h"
#include "platform/foundation/Exception.h"
#include "tests/support/PortDoubles.h"

#include <optional>
#include <sstream>

using namespace records;

namespace {

std::string sealed(std::string_view text) {
    LineSeal seal;
    std::string record;
    std::istringstream lines{std::string(text)};
    for (std::string line; std::getline(lines, line);) {
        const auto object = Json::parse(line, nullptr, false);
        record += object.is_object() && !object.empty() ? seal.sealed(object) : line + '\n';
    }
    return record;
}

std::optional<RunRecord> parsed(std::string_view text) {
    try {
        return parsedRecord(1, text);
    } catch (const qf::Exception& exception) {
        demand(exception.name() == "QFRecordUnusable");
        return std::nullopt;
    }
}

std::string written(const RunRecord& record) {
    LineSeal seal;
    auto text = seal.sealed(headOf(record));
    for (const auto& step : record.steps) {
        text += seal.sealed(beginningOf(step));
        text += step.end ? seal.sealed(endOf(step)) : "";
    }
    return text;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static FakeAccount account;
    static FakeSearchPaths searchPaths;
    static const qf::ScopedService<qf::UserAccount> accountScope(account);
    static const qf::ScopedService<qf::SearchPaths> searchPathsScope(searchPaths);

    parsed(textOf(data, size));
    if (const auto record = parsed(sealed(textOf(data, size)))) {
        for (const auto& step : record->steps) {
            demand((step.path + '/').find("/../") == std::string::npos);
        }
        const auto text = written(*record);
        demand(written(parsed(text).value()) == text);
    }
    return 0;
}
