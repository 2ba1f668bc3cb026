#include "app/records/RunRecords.h"

#include "platform/FileSystem.h"
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

namespace path = platform::path;

namespace records {

namespace {

constexpr const char* extension = ".jsonl";
constexpr const char* unfinishedName = ".new";
constexpr unsigned directoryMode = 0700;
constexpr unsigned fileMode = 0600;
constexpr const char* unwritable = "The file of the record can’t be written.";

platform::FileSystem& disk() {
    return platform::service<platform::FileSystem>();
}

std::unique_ptr<platform::FileStream> openedForUpdating(const std::string& file) {
    constexpr std::uint64_t unknownSize = 0;
    return platform::service<platform::FileStreams>().openForUpdating(file, {}, unknownSize);
}

bool writeWhole(platform::FileStream& stream, std::string_view text) {
    const auto bytes = std::as_bytes(std::span(text));
    return stream.write(bytes) == bytes.size();
}

/// Returns the number that a file's name consists of; nullopt for any other name.
std::optional<unsigned> numberIn(const std::string& name) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    return error == std::errc() && number > 0 && std::to_string(number) + extension == name
               ? std::optional(number)
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
    return path::appending(platform::service<platform::UserAccount>().stateDirectory(),
                           "kelvane-uninstaller/runs");
}

std::vector<unsigned> RunRecords::numbers() const {
    std::vector<unsigned> numbers;
    for (const auto& entry :
         disk().contentsOfDirectory(directory_).value_or(std::vector<platform::DirectoryEntry>())) {
        if (const auto number = numberIn(entry.name)) {
            numbers.push_back(*number);
        }
    }
    std::ranges::sort(numbers, std::greater());
    return numbers;
}

std::string RunRecords::file(unsigned number) const {
    return path::appending(directory_, std::to_string(number) + extension);
}

std::string RunRecords::keptFile(unsigned number, const std::string& jobFile) const {
    return path::appending(directory_, std::to_string(number) + '.' + path::lastComponent(jobFile));
}

std::string RunRecords::unfinishedFile() const {
    return path::appending(directory_, unfinishedName);
}

RunRecord RunRecords::read(unsigned number) const {
    const auto name = file(number);
    const auto text = contentOfFile(name);
    if (!text) {
        throwUnusable("there is no record " + name + " that can be read");
    }
    try {
        return parsedRecord(number, *text);
    } catch (const platform::Exception& exception) {
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

platform::Result<RecordFile, std::string> RunRecords::create(RunRecord& record) const {
    const auto unfinished = unfinishedFile();
    const auto head = record.seal.sealed(headOf(record));
    auto& files = disk();
    auto made = files.createDirectory(directory_);
    made = made ? files.setPosixPermissions(directory_, directoryMode) : std::move(made);
    made = made ? files.writeAtomically(unfinished, head) : std::move(made);
    made = made ? files.setPosixPermissions(unfinished, fileMode) : std::move(made);
    if (!made) {
        return platform::Unexpected(made.error().localizedDescription);
    }
    const auto former = numbers();
    record.number = former.empty() ? 1 : former.front() + 1;
    if (const auto named = files.moveItem(unfinished, file(record.number)); !named) {
        return platform::Unexpected(named.error().localizedDescription);
    }
    auto stream = openedForUpdating(file(record.number));
    if (!stream || !stream->seek(head.size())) {
        return platform::Unexpected(std::string(unwritable));
    }
    return RecordFile(std::move(stream));
}

void RunRecords::close(RunRecord& record) const {
    const auto text = contentOfFile(file(record.number));
    auto stream = text ? openedForUpdating(file(record.number)) : nullptr;
    if (stream && stream->seek(text->size())) {
        static_cast<void>(RecordFile(std::move(stream)).append(record.seal.sealed(closure())));
        record.isClosed = true;
    }
}

std::optional<std::string> contentOfFile(const std::string& file) {
    constexpr std::size_t most = 1U << 24U;
    constexpr std::size_t blockSize = 65536;
    const auto attributes = disk().attributesOfItem(file);
    if (!attributes || attributes->kind != platform::ItemKind::file || attributes->size > most) {
        return std::nullopt;
    }
    const auto stream = platform::service<platform::FileStreams>().openForReading(file);
    if (!stream) {
        return std::nullopt;
    }
    std::string content;
    std::array<std::byte, blockSize> block{};
    while (!stream->isAtEnd() && stream->errorIndicator() == 0 && content.size() <= most) {
        const auto count = stream->read(block);
        content.append(reinterpret_cast<const char*>(block.data()), count);
    }
    return stream->errorIndicator() == 0 ? std::optional(std::move(content)) : std::nullopt;
}

} // namespace records
