#include "app/records/RunRecords.h"

#include "app/records/Links.h"
#include "platform/FileSystem.h"
#include "platform/Language.h"
#include "platform/Services.h"
#include "platform/UserAccount.h"
#include "platform/foundation/Exception.h"
#include "platform/foundation/Path.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <functional>
#include <span>
#include <utility>

namespace path = qf::path;

namespace records {

namespace {

constexpr const char* extension = ".jsonl";
constexpr unsigned directoryMode = 0700;
constexpr unsigned fileMode = 0600;
constexpr auto unwritable = qf::translatable("Reasons", "The file of the record can’t be written.");
constexpr auto unreadableRecords = qf::translatable("Records", "the records in %1 cannot be read");
constexpr auto noRecord = qf::translatable("Records", "there is no record %1 that can be read");

qf::FileSystem& disk() {
    return qf::service<qf::FileSystem>();
}

std::string nameOf(unsigned number) {
    return std::to_string(number) + extension;
}

auto opened(const std::string& file, qf::FileAccess access) {
    return qf::service<qf::FileStreams>().openExisting(file, access);
}

/// Reads the rest of a file. Returns nullopt if that fails or is too much.
std::optional<std::string> contentOf(qf::FileStream& stream) {
    constexpr std::size_t most = 1U << 24U;
    constexpr std::size_t blockSize = 65536;
    std::string content;
    std::array<std::byte, blockSize> block{};
    while (!stream.isAtEnd() && stream.errorIndicator() == 0 && content.size() <= most) {
        const auto count = stream.read(block);
        content.append(reinterpret_cast<const char*>(block.data()), count);
    }
    const bool isWhole = stream.errorIndicator() == 0 && content.size() <= most;
    return isWhole ? std::optional(std::move(content)) : std::nullopt;
}

bool writeWhole(qf::FileStream& stream, std::string_view text) {
    const auto bytes = std::as_bytes(std::span(text));
    return stream.write(bytes) == bytes.size();
}

/// Returns the number that a file's name consists of; nullopt for any other name.
std::optional<unsigned> numberIn(const std::string& name) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    return error == std::errc() && number > 0 && nameOf(number) == name ? std::optional(number)
                                                                        : std::nullopt;
}

bool tookSomething(const RunRecord& record) {
    return std::ranges::any_of(record.steps, [](const RecordedStep& step) {
        return !step.end || step.end->taken != Taken::left;
    });
}

} // namespace

bool RecordFile::append(std::string_view line) {
    const auto start = stream_->position();
    if (writeWhole(*stream_, line)) {
        return true;
    }
    const auto length = stream_->position() - start;
    if (length > 0 && stream_->seek(start)) {
        static_cast<void>(writeWhole(*stream_, std::string(length - 1, ' ') + '\n'));
    }
    return false;
}

std::string RunRecords::usersDirectory() {
    return path::appending(qf::service<qf::UserAccount>().stateDirectory(),
                           "kelvane-uninstaller/runs");
}

/// What is listed is what is read afterwards: a link in the directory's place is not followed.
std::vector<unsigned> RunRecords::numbers() const {
    const auto directory = hold(qf::MissingDirectories::fail);
    std::optional<std::vector<qf::DirectoryEntry>> entries;
    if (directory) {
        if (auto listed = disk().contentsOfDirectory((*directory)->path())) {
            entries = *std::move(listed);
        }
    }
    if (!entries && disk().attributesOfItem(directory_)) {
        throwUnusable(unreadableRecords, directory_);
    }
    std::vector<unsigned> numbers;
    for (const auto& entry : entries.value_or(std::vector<qf::DirectoryEntry>())) {
        if (const auto number = numberIn(entry.name)) {
            numbers.push_back(*number);
        }
    }
    std::ranges::sort(numbers, std::greater());
    return numbers;
}

std::string RunRecords::file(unsigned number) const {
    return path::appending(directory_, nameOf(number));
}

std::string RunRecords::keptFile(unsigned number, const std::string& jobFile) {
    return std::to_string(number) + '.' + path::lastComponent(jobFile);
}

qf::Result<std::unique_ptr<qf::HeldDirectory>>
RunRecords::hold(qf::MissingDirectories missing) const {
    return disk().holdDirectory(directory_, linksTo(path::deletingLastComponent(directory_)),
                                missing);
}

RunRecord RunRecords::read(unsigned number) const {
    const auto name = file(number);
    const auto directory = hold(qf::MissingDirectories::fail);
    if (!directory) {
        throwUnusable(noRecord, name);
    }
    const auto stream =
        opened(path::appending((*directory)->path(), nameOf(number)), qf::FileAccess::reading);
    const auto text = stream ? contentOf(**stream) : std::nullopt;
    if (!text) {
        throwUnusable(noRecord, name);
    }
    try {
        auto record = parsedRecord(number, *text);
        record.file = (*stream)->identity();
        return record;
    } catch (const qf::Exception& exception) {
        throwUnusable(name + ", " + exception.reason());
    }
}

std::vector<RunRecord> RunRecords::lastUninstall() const {
    std::vector<RunRecord> runs;
    for (const auto number : numbers()) {
        auto record = read(number);
        if (!runs.empty() && (record.isClosed || record.isComplete == true)) {
            break;
        }
        if (tookSomething(record)) {
            runs.push_back(std::move(record));
        }
    }
    return runs;
}

qf::Result<RecordFile, std::string> RunRecords::create(RunRecord& record) const {
    const auto directory = hold(qf::MissingDirectories::create);
    if (!directory) {
        return qf::Unexpected(directory.error().localizedDescription);
    }
    const auto held = (*directory)->path();
    const auto unfinished = path::appending(held, unfinishedFile);
    const auto head = record.seal.sealed(headOf(record));
    auto& files = disk();
    auto made = files.setPosixPermissions(held, directoryMode);
    made = made ? files.writeAtomicallyWith(unfinished, head, fileMode, {}) : std::move(made);
    if (!made) {
        return qf::Unexpected(made.error().localizedDescription);
    }
    auto stream = opened(unfinished, qf::FileAccess::updating);
    if (!stream || contentOf(**stream) != head) {
        return qf::Unexpected(qf::translated(unwritable));
    }
    const auto former = numbers();
    record.number = former.empty() ? 1 : former.front() + 1;
    record.file = (*stream)->identity();
    if (const auto named = files.moveItem(unfinished, path::appending(held, nameOf(record.number)));
        !named) {
        record.number = 0;
        return qf::Unexpected(named.error().localizedDescription);
    }
    return RecordFile(*std::move(stream));
}

void RunRecords::close(RunRecord& record) const {
    const auto directory = hold(qf::MissingDirectories::fail);
    if (!directory) {
        return;
    }
    auto stream = opened(path::appending((*directory)->path(), nameOf(record.number)),
                         qf::FileAccess::updating);
    // At its end, a line can be added.
    if (stream && (*stream)->identity() == record.file && contentOf(**stream)) {
        record.isClosed = RecordFile(*std::move(stream)).append(record.seal.sealed(closure()));
    }
}

std::optional<std::string> contentOfFile(const std::string& file) {
    const auto stream = opened(file, qf::FileAccess::reading);
    return stream ? contentOf(**stream) : std::nullopt;
}

bool isFile(const std::string& path) {
    const auto item = qf::service<qf::FileSystem>().attributesOfItem(path);
    return item && item->kind == qf::ItemKind::file;
}

} // namespace records
