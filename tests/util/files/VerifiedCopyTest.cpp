#include "tests/util/files/VerifiedCopyTest.h"

#include "platform/foundation/GlobalQueue.h"
#include "tests/support/NamedCase.h"
#include "tests/support/PatternedText.h"
#include "tests/support/PausingClock.h"
#include "tests/util/files/NoMemory.h"
#include "util/log/QFLog.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <latch>
#include <stdexcept>
#include <thread>
#include <tuple>
#include <utility>

namespace {

using qf::Value;

struct TypeOfCopy : NamedCase {
    qf::VerificationType type;
};

constexpr std::array digestTypes{
    TypeOfCopy{{"Md5"}, qf::VerificationType::md5},
    TypeOfCopy{{"Sha1"}, qf::VerificationType::sha1},
    TypeOfCopy{{"Sha256"}, qf::VerificationType::sha256},
    TypeOfCopy{{"Sha512"}, qf::VerificationType::sha512},
};
constexpr auto otherType = qf::VerificationType{7};

struct DestinationsOfCopy : NamedCase {
    std::vector<std::string> paths;
};

constexpr std::uint64_t twentyMebibytes = 20'971'520;

using Outcomes = std::vector<qf::FileCopyOutcome>;

/// A medium that changes one byte.
std::function<void(std::uint64_t, std::string&)> changing(std::uint64_t byte) {
    return [byte](std::uint64_t position, std::string& written) {
        if (byte >= position && byte - position < written.size()) {
            written[byte - position] ^= 1;
        }
    };
}

std::vector<std::uint64_t> sorted(const std::vector<CopyObserver::Bytes>& calls) {
    std::vector<std::uint64_t> counts(calls.size());
    std::ranges::transform(calls, counts.begin(), &CopyObserver::Bytes::count);
    std::ranges::sort(counts);
    return counts;
}

class VerifiedCopyWithDigest : public VerifiedCopyTest,
                               public testing::WithParamInterface<TypeOfCopy> {};

INSTANTIATE_TEST_SUITE_P(, VerifiedCopyWithDigest, testing::ValuesIn(digestTypes), nameOfCase);

// What arrives.

struct SizeOfSource : NamedCase {
    std::size_t size;
};

class VerifiedCopyOfASize
    : public VerifiedCopyTest,
      public testing::WithParamInterface<std::tuple<TypeOfCopy, SizeOfSource>> {};

TEST_P(VerifiedCopyOfASize, GivesEveryDestinationTheContent) {
    const auto content = patternedText(std::get<SizeOfSource>(GetParam()).size);
    makeSource(content);
    EXPECT_TRUE(copy({"/to/a", "/to/b", "/to/c"}, std::get<TypeOfCopy>(GetParam()).type));
    for (const auto* path : {"/to/a", "/to/b", "/to/c"}) {
        EXPECT_TRUE(contentOf(path) == content) << path;
    }
    EXPECT_EQ(console.systemLogLines(), Lines{});
    EXPECT_EQ(loggedLines(), Lines{});
}

INSTANTIATE_TEST_SUITE_P(
    , VerifiedCopyOfASize,
    testing::Combine(testing::Values(TypeOfCopy{{"None"}, qf::VerificationType::none},
                                     TypeOfCopy{{"Md5"}, qf::VerificationType::md5},
                                     TypeOfCopy{{"Sha1"}, qf::VerificationType::sha1},
                                     TypeOfCopy{{"Sha256"}, qf::VerificationType::sha256},
                                     TypeOfCopy{{"Sha512"}, qf::VerificationType::sha512},
                                     TypeOfCopy{{"Other"}, otherType}),
                     testing::Values(SizeOfSource{{"Empty"}, 0}, SizeOfSource{{"OneByte"}, 1},
                                     SizeOfSource{{"ByteLessThanAChunk"}, 65535},
                                     SizeOfSource{{"OneChunk"}, 65536},
                                     SizeOfSource{{"ByteMoreThanAChunk"}, 65537},
                                     SizeOfSource{{"TwoChunks"}, 131072},
                                     SizeOfSource{{"PartOfAFourthChunk"}, 200000})),
    nameOfCases);

TEST_F(VerifiedCopyTest, AnEmptySourceBecomesEmptyFilesAndOneCall) {
    makeSource("");
    CopyObserver observer;
    EXPECT_TRUE(copy({"/to/a", "/to/b"}, qf::VerificationType::none, observer.delegate()));
    const auto record = observer.record();
    EXPECT_EQ(contentOf("/to/a"), "");
    EXPECT_EQ(contentOf("/to/b"), "");
    EXPECT_EQ(record.bytesWritten, (std::vector<CopyObserver::Bytes>{{0, true}}));
    EXPECT_EQ(record.questions, 0);
    EXPECT_EQ(record.finished.size(), 1U);
}

TEST_F(VerifiedCopyTest, TheSameDestinationTwiceIsWrittenTwice) {
    const auto content = patternedText(150'000);
    makeSource(content);
    CopyObserver observer;
    EXPECT_TRUE(copy({"/to/a", "/to/a"}, qf::VerificationType::sha1, observer.delegate()));
    EXPECT_TRUE(contentOf("/to/a") == content);
    EXPECT_EQ(observer.record().failures.size(), 0U);
}

TEST_F(VerifiedCopyTest, ThreeHundredDestinations) {
    const auto content = patternedText(70'000);
    makeSource(content);
    std::vector<std::string> destinations(300);
    std::ranges::generate(destinations,
                          [number = 0]() mutable { return "/to/" + std::to_string(number++); });
    streams.files["/to/299"].alter = changing(69'999);
    CopyObserver observer;
    EXPECT_TRUE(copy(destinations, qf::VerificationType::md5, observer.delegate()));
    const auto record = observer.record();
    ASSERT_EQ(record.failures.size(), 1U);
    EXPECT_EQ(record.failures[0].file, "/to/299");
    EXPECT_EQ(record.finished[0].at("destChecksums").as<Value::Array>()->size(), 300U);
    EXPECT_TRUE(contentOf("/to/0") == content);
}

TEST_F(VerifiedCopyTest, AStepIsDoneOnEveryDestinationInOrder) {
    makeSource("x");
    EXPECT_TRUE(copy({"/to/b", "/to/a"}));
    EXPECT_EQ(streams.events, (Lines{"open /from/source", "open /to/b", "open /to/a",
                                     "close /from/source", "close /to/b", "close /to/a"}));
}

// The forms for one destination.

TEST_F(VerifiedCopyTest, TheFormsForOneDestinationCopyWithoutVerification) {
    makeSource("content");
    streams.files["/to/a"].seekError = 29;
    CopyObserver observer;
    EXPECT_TRUE(QFFileManager::copyFileWithProgress(source, "/to/a", observer.delegate(), "first"));
    EXPECT_TRUE(
        QFFileManager::copyFileWithProgress(source, "/to/a", observer.delegate(), "first", 2));
    const auto record = observer.record();
    ASSERT_EQ(record.finished.size(), 2U);
    EXPECT_EQ(record.finished[0], (Value::Dictionary{{"source", source},
                                                     {"destinations", Value::Array{"/to/a"}},
                                                     {"operationtype", "copy"},
                                                     {"object", "first"}}));
    EXPECT_EQ(record.finished[1].at("object2"), Value(2));
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

// Before anything is copied.

TEST_F(VerifiedCopyTest, AMissingSource) {
    EXPECT_FALSE(copy({"/new/a"}));
    EXPECT_EQ(console.systemLogLines(),
              Lines{"Error: File /from/source doesn't exist. Aborting copy process..."});
    EXPECT_EQ(fileSystem.changes, Lines{});
    EXPECT_EQ(streams.events, Lines{});
}

TEST_F(VerifiedCopyTest, NoDestination) {
    makeSource("content");
    EXPECT_FALSE(copy({}));
    EXPECT_EQ(console.systemLogLines(),
              Lines{"Error: You must have at least one destination. Aborting copy process..."});
    EXPECT_EQ(streams.events, Lines{});
}

TEST_F(VerifiedCopyTest, MissingDirectoriesAreMade) {
    makeSource("content");
    EXPECT_TRUE(copy({"/to/a", "/new/deep/b", "/new/deep/c"}));
    EXPECT_TRUE(fileSystem.directories.contains("/new/deep"));
    EXPECT_EQ(std::ranges::count(fileSystem.changes, "create /new/deep"), 1);
    EXPECT_EQ(std::ranges::count(fileSystem.changes, "create /to"), 0);
}

TEST_F(VerifiedCopyTest, ADirectoryThatCannotBeMadeFailsBeforeTheSourceIsOpened) {
    makeSource("content");
    fileSystem.failures["create /bad"] = {.localizedDescription = "It may not be."};
    EXPECT_FALSE(copy({"/first/a", "/bad/b", "/last/c"}));
    EXPECT_EQ(console.systemLogLines(),
              Lines{"Unable to copy file /from/source - destination directory /bad doesn't exist. "
                    "Aborting copy process..."});
    EXPECT_TRUE(fileSystem.directories.contains("/first"));
    EXPECT_FALSE(fileSystem.directories.contains("/last"));
    EXPECT_EQ(streams.events, Lines{});
}

TEST_F(VerifiedCopyTest, ADirectoryOfTheAdministratorsIsWaitedForTenSeconds) {
    PausingClock pauses;
    const qf::ScopedService<qf::Clock> scope(pauses);
    makeSource("content");
    services.rightsStatus = 0;
    fileSystem.failures["create /new"] = {.localizedDescription = "It may not be."};
    EXPECT_FALSE(copy({"/new/a"}));
    std::vector rests(34, std::chrono::microseconds(300'000));
    rests.insert(rests.begin(), std::chrono::microseconds(500)); // the privileged tool's
    EXPECT_EQ(pauses.rests, rests);
    EXPECT_EQ(console.systemLogLines(),
              Lines{"Unable to copy file /from/source - destination directory /new doesn't exist. "
                    "Aborting copy process..."});
    pauses.meanwhile = [this] { fileSystem.directories["/new"].emplace(); };
    EXPECT_TRUE(copy({"/new/a"}));
    EXPECT_EQ(contentOf("/new/a"), "content");
    QFLog::finishWriting();
}

TEST_F(VerifiedCopyTest, ASourceThatCannotBeOpened) {
    makeSource("content");
    streams.files[source].opens = false;
    EXPECT_FALSE(copy({"/to/a"}));
    EXPECT_EQ(console.systemLogLines(),
              Lines{"Error: Unable to read source file /from/source. Aborting copy process..."});
    EXPECT_FALSE(streams.files.contains("/to/a"));
}

TEST_F(VerifiedCopyTest, ADestinationThatCannotBeOpened) {
    makeSource("content");
    streams.files["/to/a"].content = "former";
    streams.files["/to/b"].opens = false;
    CopyObserver observer;
    EXPECT_FALSE(copy({"/to/a", "/to/b", "/to/c"}, qf::VerificationType::md5, observer.delegate()));
    EXPECT_EQ(console.systemLogLines(),
              Lines{"Error: Unable to open destination file /to/b. Aborting copy process..."});
    EXPECT_EQ(contentOf("/to/a"), "former");
    EXPECT_FALSE(streams.files.contains("/to/c"));
    EXPECT_EQ(observer.record().bytesWritten.size(), 0U);
}

TEST_F(VerifiedCopyTest, ADestinationThatCannotBeEmptied) {
    makeSource("content");
    streams.files["/to/b"].content = "former";
    streams.files["/to/b"].empties = false;
    EXPECT_FALSE(copy({"/to/a", "/to/b"}));
    EXPECT_EQ(console.systemLogLines(),
              Lines{"Error: Unable to open destination file /to/b. Aborting copy process..."});
    EXPECT_EQ(contentOf("/to/b"), "former");
}

TEST_F(VerifiedCopyTest, AFormerCopyIsKeptUntilTheSourceHasProvedReadable) {
    describe({.content = "content", .readableBytes = 0}, 7);
    streams.files["/to/a"].content = "former";
    EXPECT_FALSE(copy({"/to/a"}));
    EXPECT_EQ(loggedLines(), Lines{"Error reading file /from/source - aborting..."});
    EXPECT_EQ(contentOf("/to/a"), "former");
    describe({.content = "content", .readableBytes = 3}, 7);
    EXPECT_FALSE(copy({"/to/a"}));
    EXPECT_NE(contentOf("/to/a"), "former");
    makeSource("");
    streams.files["/to/a"].content = "former";
    EXPECT_TRUE(copy({"/to/a"}));
    EXPECT_EQ(contentOf("/to/a"), "");
}

TEST_F(VerifiedCopyTest, TheSourceIsNoDestination) {
    makeSource("content");
    EXPECT_FALSE(copy({"/to/a", source}));
    EXPECT_EQ(
        console.systemLogLines(),
        Lines{"Error: Unable to open destination file /from/source. Aborting copy process..."});
    EXPECT_EQ(contentOf(source), "content");
}

/// The number of buffers that there is memory for.
struct SparedBuffers : NamedCase {
    int count;
};

class VerifiedCopyWithoutMemory : public VerifiedCopyTest,
                                  public testing::WithParamInterface<SparedBuffers> {};

TEST_P(VerifiedCopyWithoutMemory, FailsForEitherBuffer) {
    makeSource("content");
    {
        const NoMemory none(GetParam().count);
        EXPECT_FALSE(copy({"/to/a"}, qf::VerificationType::md5));
    }
    EXPECT_EQ(loggedLines(), Lines{"Error copying file /from/source - out of memory"});
    EXPECT_EQ(contentOf("/to/a"), "");
    EXPECT_EQ(console.printed(), "Error copying file /from/source - out of memory\n");
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

INSTANTIATE_TEST_SUITE_P(, VerifiedCopyWithoutMemory,
                         testing::Values(SparedBuffers{{"TheFirst"}, 0},
                                         SparedBuffers{{"TheSecond"}, 1}),
                         nameOfCase);

TEST_F(VerifiedCopyTest, ADigestThatTheMachineDoesNotAllow) {
    makeSource("content");
    const ForbiddenDigests forbidden;
    EXPECT_FALSE(copy({"/to/a"}, qf::VerificationType::md5));
    EXPECT_EQ(loggedLines(),
              Lines{"Exception in copyFileWithProgress:destinations:verificationType:delegate:"
                    "object:object:. QFDigestUnavailable - not here."});
    EXPECT_EQ(contentOf("/to/a"), "");
    EXPECT_TRUE(copy({"/to/a"}, otherType));
}

// While it is copied.

TEST_F(VerifiedCopyTest, AReadErrorLeavesPartialCopies) {
    const auto content = patternedText(200'000);
    describe({.content = content, .readableBytes = 2 * chunk}, content.size());
    CopyObserver observer;
    EXPECT_FALSE(copy({"/to/a", "/to/b"}, qf::VerificationType::sha256, observer.delegate()));
    EXPECT_EQ(loggedLines(), Lines{"Error reading file /from/source - aborting..."});
    EXPECT_EQ(console.printed(), "Error reading file /from/source - aborting...\n");
    EXPECT_EQ(console.systemLogLines(), Lines{});
    EXPECT_TRUE(contentOf("/to/a") == content.substr(0, 2 * chunk));
    EXPECT_TRUE(contentOf("/to/b") == content.substr(0, 2 * chunk));
    const auto record = observer.record();
    EXPECT_EQ(record.bytesWritten.size() + record.finished.size(), 0U);
}

TEST_F(VerifiedCopyTest, AFullDestinationDoesNotStopTheOthers) {
    const auto content = patternedText(150'000);
    makeSource(content);
    streams.files["/to/full"].room = 70'000;
    EXPECT_TRUE(copy({"/to/full", "/to/b"}));
    EXPECT_EQ(console.systemLogLines(),
              (Lines{"Error writing file /to/full: 1", "Error writing file /to/full: 1"}));
    EXPECT_TRUE(contentOf("/to/full") == content.substr(0, 70'000));
    EXPECT_TRUE(contentOf("/to/b") == content);
}

TEST_F(VerifiedCopyTest, EveryChunkIsWrittenAtItsOwnOffsetWhateverWentWrongBefore) {
    const auto content = patternedText(4 * chunk);
    makeSource(content);
    bool isFirst = true;
    streams.files["/to/a"].arriving = [&isFirst](std::uint64_t /*position*/, std::size_t size) {
        return std::exchange(isFirst, false) ? size / 2 : size;
    };
    streams.files["/to/b"].shortWrites = 1;
    EXPECT_TRUE(copy({"/to/a", "/to/b"}, qf::VerificationType::md5));
    EXPECT_TRUE(contentOf("/to/a") == content);
    EXPECT_EQ(contentOf("/to/b").size(), content.size());
    EXPECT_TRUE(contentOf("/to/b").ends_with(content.substr(chunk)));
}

class VerifiedCopyToAFullDestination
    : public VerifiedCopyTest,
      public testing::WithParamInterface<std::tuple<TypeOfCopy, DestinationsOfCopy>> {};

TEST_P(VerifiedCopyToAFullDestination, FailsItsVerification) {
    const auto& [verification, destinations] = GetParam();
    makeSource(patternedText(150'000));
    streams.files["/to/full"].room = 70'000;
    CopyObserver observer;
    EXPECT_TRUE(copy(destinations.paths, verification.type, observer.delegate()));
    const auto record = observer.record();
    ASSERT_EQ(record.failures.size(), 1U);
    EXPECT_EQ(record.failures[0].file, "/to/full");
}

INSTANTIATE_TEST_SUITE_P(
    , VerifiedCopyToAFullDestination,
    testing::Combine(testing::ValuesIn(digestTypes),
                     testing::Values(DestinationsOfCopy{{"Alone"}, {"/to/full"}},
                                     DestinationsOfCopy{{"AfterAnother"}, {"/to/b", "/to/full"}},
                                     DestinationsOfCopy{{"BeforeAnother"}, {"/to/full", "/to/b"}})),
    nameOfCases);

TEST_P(VerifiedCopyWithDigest, AShortReadBackHashesWhatTheBufferHeldBefore) {
    const auto content = patternedText(2 * chunk);
    makeSource(content);
    streams.files["/to/a"].arriving = [](std::uint64_t position, std::size_t size) {
        return position == chunk ? 1000 : size;
    };
    CopyObserver observer;
    EXPECT_TRUE(copy({"/to/a"}, GetParam().type, observer.delegate()));
    const auto hashed =
        content.substr(0, chunk) + content.substr(chunk, 1000) + content.substr(1000, chunk - 1000);
    const auto record = observer.record();
    ASSERT_EQ(record.failures.size(), 1U);
    EXPECT_EQ(record.failures[0].settings.at("destChecksum"),
              Value(*digestOf(GetParam().type, hashed)));
    EXPECT_TRUE(contentOf("/to/a") == content);
}

class VerifiedCopyThatCannotBeReadBack : public VerifiedCopyTest,
                                         public testing::WithParamInterface<DestinationsOfCopy> {};

TEST_P(VerifiedCopyThatCannotBeReadBack, NeverPassesForVerified) {
    makeSource(std::string(3 * chunk, '\0'));
    streams.files["/to/bad"].arriving = [](std::uint64_t position, std::size_t size) {
        return position == chunk ? size - 1 : size;
    };
    CopyObserver observer;
    EXPECT_TRUE(copy(GetParam().paths, qf::VerificationType::sha256, observer.delegate()));
    const auto record = observer.record();
    ASSERT_EQ(record.failures.size(), 1U);
    EXPECT_EQ(record.failures[0].file, "/to/bad");
}

INSTANTIATE_TEST_SUITE_P(, VerifiedCopyThatCannotBeReadBack,
                         testing::Values(DestinationsOfCopy{{"Alone"}, {"/to/bad"}},
                                         DestinationsOfCopy{{"AfterAnother"},
                                                            {"/to/good", "/to/bad"}}),
                         nameOfCase);

TEST_F(VerifiedCopyTest, ADestinationThatCannotSeekGetsFiveLinesAChunkAndIsReadAllTheSame) {
    makeSource(patternedText(chunk + 100));
    streams.files["/to/a"].seekError = 29;
    CopyObserver observer;
    EXPECT_TRUE(copy({"/to/a"}, qf::VerificationType::md5, observer.delegate()));
    EXPECT_EQ(console.systemLogLines(),
              (Lines{"Error: unable to seek within file /to/a", "cur pos: 0", "read size: 65536",
                     "errno: 29", "err: 0", "Error: unable to seek within file /to/a",
                     "cur pos: 65536", "read size: 100", "errno: 29", "err: 0"}));
    EXPECT_EQ(observer.record().failures.size(), 1U);
    EXPECT_TRUE(contentOf("/to/a") == contentOf(source));
}

TEST_F(VerifiedCopyTest, APositionBeyondFourGibibytesIsToldInFull) {
    constexpr std::uint64_t size = 5'368'709'120;
    makeBottomlessSource(size, {"/to/a"});
    streams.files["/to/a"].seekError = 29;
    streams.files["/to/a"].seekableBytes = size - chunk;
    CopyObserver observer;
    EXPECT_TRUE(copy({"/to/a"}, otherType, observer.delegate()));
    EXPECT_EQ(console.systemLogLines(),
              (Lines{"Error: unable to seek within file /to/a", "cur pos: 5368643584",
                     "read size: 65536", "errno: 29", "err: 0"}));
    EXPECT_EQ(sorted(observer.record().bytesWritten).back(), size);
}

TEST_F(VerifiedCopyTest, WithoutVerificationNothingIsReadBack) {
    makeSource(patternedText(200'000));
    streams.files["/to/a"].seekError = 29;
    streams.files["/to/a"].beforeRead = [] { FAIL() << "the destination was read"; };
    EXPECT_TRUE(copy({"/to/a"}));
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(VerifiedCopyTest, WithAnotherTypeEveryChunkIsReadBack) {
    makeSource(patternedText(3 * chunk));
    int reads = 0;
    streams.files["/to/a"].beforeRead = [&reads] { ++reads; };
    EXPECT_TRUE(copy({"/to/a"}, otherType));
    EXPECT_EQ(reads, 3);
}

class SourceOfVerifiedCopy : public VerifiedCopyTest,
                             public testing::WithParamInterface<DestinationsOfCopy> {};

TEST_P(SourceOfVerifiedCopy, IsReadOnce) {
    int reads = 0;
    describe({.content = patternedText(3 * chunk - 1), .beforeRead = [&reads] { ++reads; }},
             3 * chunk - 1);
    EXPECT_TRUE(copy(GetParam().paths, qf::VerificationType::sha256));
    EXPECT_EQ(reads, 3);
}

INSTANTIATE_TEST_SUITE_P(, SourceOfVerifiedCopy,
                         testing::Values(DestinationsOfCopy{{"ForOneDestination"}, {"/to/a"}},
                                         DestinationsOfCopy{{"ForThreeDestinations"},
                                                            {"/to/a", "/to/b", "/to/c"}}),
                         nameOfCase);

TEST_F(VerifiedCopyTest, ASourceThatShrinksFails) {
    describe({.content = patternedText(70'000)}, 70'001);
    CopyObserver observer;
    EXPECT_FALSE(copy({"/to/a"}, qf::VerificationType::md5, observer.delegate()));
    EXPECT_EQ(console.systemLogLines(),
              Lines{"Error: copied file size does not match original source /from/source"});
    EXPECT_EQ(contentOf("/to/a").size(), 70'000U);
    const auto record = observer.record();
    EXPECT_EQ(record.bytesWritten.size() + record.finished.size(), 0U);
    EXPECT_EQ(std::ranges::count(fileSystem.changes, "creation date /to/a"), 0);
}

TEST_F(VerifiedCopyTest, ASourceThatGrowsPasses) {
    describe({.content = patternedText(70'001)}, 70'000);
    CopyObserver observer;
    EXPECT_TRUE(copy({"/to/a"}, qf::VerificationType::none, observer.delegate()));
    EXPECT_EQ(contentOf("/to/a").size(), 70'001U);
    EXPECT_EQ(observer.record().bytesWritten, (std::vector<CopyObserver::Bytes>{{70'001, true}}));
}

TEST_F(VerifiedCopyTest, ASourceThatVanishesOnceItIsOpenIsCopiedWithoutDates) {
    makeSource("content");
    fileSystem.attributes[source].reset();
    EXPECT_TRUE(copy({"/to/a"}));
    EXPECT_EQ(contentOf("/to/a"), "content");
    EXPECT_EQ(fileSystem.changes, Lines{});
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(VerifiedCopyTest, TheSizeOfALinkedSourceIsThatOfTheFileItLeadsTo) {
    describe({.content = "content"}, 1000);
    fileSystem.links = {{source, "../other/link"}, {"/from/../other/link", "/real"}};
    for (const auto& [link, target] : fileSystem.links) {
        fileSystem.files.insert(link);
        fileSystem.attributes[link] = {.kind = qf::ItemKind::link, .size = 5};
    }
    fileSystem.files.insert("/real");
    fileSystem.attributes["/real"] = {.size = 8};
    EXPECT_FALSE(copy({"/to/a"}));
    fileSystem.attributes["/real"] = {.size = 7};
    EXPECT_TRUE(copy({"/to/a"}));
}

// Progress and cancelling.

TEST_F(VerifiedCopyTest, ThirtyMebibytesGiveOneReportOnTheWay) {
    constexpr std::uint64_t size = 31'457'280;
    makeBottomlessSource(size, {"/to/a"});
    CopyObserver observer;
    EXPECT_TRUE(copy({"/to/a"}, qf::VerificationType::none, observer.delegate()));
    const auto record = observer.record();
    EXPECT_EQ(sorted(record.bytesWritten), (std::vector{twentyMebibytes, size}));
    for (const auto& call : record.bytesWritten) {
        EXPECT_EQ(call.onCopyingThread, call.count == size);
    }
    EXPECT_EQ(record.questions, 1);
}

TEST_F(VerifiedCopyTest, LessThanTwentyMebibytesGiveNoReportOnTheWay) {
    makeBottomlessSource(twentyMebibytes - 1, {"/to/a"});
    CopyObserver observer;
    EXPECT_TRUE(copy({"/to/a"}, qf::VerificationType::none, observer.delegate()));
    const auto record = observer.record();
    EXPECT_EQ(record.bytesWritten, (std::vector<CopyObserver::Bytes>{{twentyMebibytes - 1, true}}));
    EXPECT_EQ(record.questions, 0);
}

TEST_F(VerifiedCopyTest, ALargeFileIsReportedEveryFiveHundredth) {
    constexpr std::uint64_t size = 20'000'000'000;
    constexpr std::uint64_t leastStep = 40'000'000;
    makeBottomlessSource(size, {"/to/a"});
    CopyObserver observer;
    EXPECT_TRUE(copy({"/to/a"}, qf::VerificationType::none, observer.delegate()));
    const auto record = observer.record();
    auto counts = sorted(record.bytesWritten);
    ASSERT_EQ(counts.size(), 500U);
    EXPECT_EQ(counts.back(), size);
    counts.pop_back();
    std::uint64_t last = 0;
    for (const auto count : counts) {
        EXPECT_EQ(count - last, (leastStep + chunk - 1) / chunk * chunk);
        last = count;
    }
    EXPECT_EQ(record.questions, 499);
}

class VerifiedCopyAnsweredFalse : public VerifiedCopyTest,
                                  public testing::WithParamInterface<TypeOfCopy> {};

TEST_P(VerifiedCopyAnsweredFalse, EndsWithoutAWord) {
    makeBottomlessSource(DescribedFile::unlimited, {"/to/a", "/to/b"});
    fileSystem.attributes[source]->size = 0;
    CopyObserver observer(false);
    EXPECT_FALSE(copy({"/to/a", "/to/b"}, GetParam().type, observer.delegate()));
    const auto record = observer.record();
    EXPECT_GE(record.questions, 1);
    EXPECT_EQ(record.finished.size() + record.failures.size(), 0U);
    EXPECT_EQ(streams.events.back(), "close /to/b");
    EXPECT_EQ(console.systemLogLines(), Lines{});
    EXPECT_EQ(loggedLines(), Lines{});
    EXPECT_EQ(fileSystem.changes, Lines{});
}

INSTANTIATE_TEST_SUITE_P(, VerifiedCopyAnsweredFalse,
                         testing::Values(TypeOfCopy{{"None"}, qf::VerificationType::none},
                                         TypeOfCopy{{"Md5"}, qf::VerificationType::md5},
                                         TypeOfCopy{{"Other"}, otherType}),
                         nameOfCase);

TEST_F(VerifiedCopyTest, ACancelledCopyLeavesPartialFiles) {
    describe({.bottomless = DescribedFile::unlimited}, 0);
    CopyObserver observer(false);
    EXPECT_FALSE(copy({"/to/a"}, qf::VerificationType::none, observer.delegate()));
    EXPECT_GE(contentOf("/to/a").size(), twentyMebibytes);
    EXPECT_EQ(contentOf("/to/a").size() % chunk, 0U);
}

TEST_F(VerifiedCopyTest, ACancelledCopyWritesToNoFurtherDestination) {
    makeSource(std::string(twentyMebibytes + 2 * chunk, 'x'));
    auto delegate = std::make_shared<qf::FileCopyDelegate>();
    std::latch nextChunk(1);
    delegate->fileCopyShouldContinue = [&](const auto&) {
        nextChunk.wait();
        return false;
    };
    const std::weak_ptr<qf::FileCopyDelegate> calls = delegate;
    long owners = 0;
    streams.files["/to/a"].beforeWrite = [&](std::uint64_t position) {
        if (position == 0) {
            owners = calls.use_count();
        }
        if (position == twentyMebibytes) {
            nextChunk.count_down();
            while (calls.use_count() > owners) { // until the answer has taken effect
                std::this_thread::yield();
            }
        }
    };
    EXPECT_FALSE(copy({"/to/a", "/to/b"}, qf::VerificationType::none, delegate));
    EXPECT_EQ(contentOf("/to/a").size(), twentyMebibytes + chunk);
    EXPECT_EQ(contentOf("/to/b").size(), twentyMebibytes);
}

TEST_F(VerifiedCopyTest, TheQuestionFollowsTheReport) {
    constexpr int mostThreads = 64;
    makeBottomlessSource(twentyMebibytes, {"/to/a"});
    // All threads of the queue are busy; once one is free, it takes the calls in their order.
    std::latch busy(mostThreads);
    std::latch oneIsFree(1);
    std::latch allAreFree(1);
    std::latch ended(mostThreads);
    for (int number = 0; number < mostThreads; ++number) {
        qf::dispatchAsync([&, number] {
            busy.count_down();
            (number == 0 ? oneIsFree : allAreFree).wait();
            ended.count_down();
        });
    }
    busy.wait();
    Release released;
    Lines calls;
    auto delegate = std::make_shared<qf::FileCopyDelegate>();
    delegate->fileCopyBytesWritten = [&, copying = std::this_thread::get_id()](auto, const auto&) {
        if (std::this_thread::get_id() != copying) {
            calls.emplace_back("report");
        }
    };
    delegate->fileCopyShouldContinue = [&, token = released.token()](const auto&) {
        calls.emplace_back("question");
        return true;
    };
    EXPECT_TRUE(copy({"/to/a"}, qf::VerificationType::none, delegate));
    delegate.reset();
    oneIsFree.count_down();
    released.wait();
    EXPECT_EQ(calls, (Lines{"report", "question"}));
    allAreFree.count_down();
    ended.wait();
}

TEST_F(VerifiedCopyTest, ABlockedDelegateHoldsNothingUpAndMayAnswerAfterTheCopy) {
    makeBottomlessSource(5 * twentyMebibytes, {"/to/a"});
    const auto open = std::make_shared<std::latch>(1);
    const auto asked = std::make_shared<std::latch>(5);
    Release released;
    auto delegate = std::make_shared<qf::FileCopyDelegate>();
    delegate->fileCopyShouldContinue =
        [open, asked, token = released.token()](const qf::FileCopySettings& settings) {
            asked->count_down();
            open->wait();
            EXPECT_EQ((*settings)["operationtype"], Value("copy"));
            return false;
        };
    EXPECT_TRUE(copy({"/to/a"}, qf::VerificationType::none, delegate));
    delegate.reset();
    asked->wait();
    open->count_down();
    released.wait();
}

TEST_F(VerifiedCopyTest, WhatADelegateRaisesIsLoggedAndChangesNothing) {
    makeBottomlessSource(twentyMebibytes, {"/to/a"});
    Release released;
    auto delegate = std::make_shared<qf::FileCopyDelegate>();
    delegate->fileCopyBytesWritten = [token = released.token()](auto, const auto&) {
        throw qf::Exception("SomeException", "written");
    };
    delegate->fileCopyShouldContinue = [](const auto&) -> bool {
        throw std::runtime_error("continue");
    };
    delegate->fileCopyVerificationFailed = [](const auto&, const auto&) {
        throw qf::Exception("SomeException", "failed");
    };
    delegate->fileCopyFinished = [](const auto&) { throw 5; };
    EXPECT_TRUE(copy({"/to/a"}, otherType, delegate));
    delegate.reset();
    released.wait();
    auto lines = loggedLines();
    std::ranges::sort(lines);
    EXPECT_EQ(lines,
              (Lines{"Exception in fileCopyBytesWritten:settings:. SomeException - written.",
                     "Exception in fileCopyBytesWritten:settings:. SomeException - written.",
                     "Exception in fileCopyFinished:. NSGenericException - An exception that tells "
                     "no reason.",
                     "Exception in fileCopyShouldContinue:. NSGenericException - continue.",
                     "Exception in fileCopyVerificationFailed:file:. SomeException - failed."}));
}

TEST_F(VerifiedCopyTest, ADelegateThatAnswersNothingIsNeverCalled) {
    makeBottomlessSource(2 * twentyMebibytes, {"/to/a"});
    Release released;
    EXPECT_TRUE(copy({"/to/a"}, otherType, released.silent<qf::FileCopyDelegate>()));
    released.wait();
    EXPECT_EQ(loggedLines(), Lines{});
}

// The settings.

TEST_F(VerifiedCopyTest, TheSettingsNameWhatIsCopied) {
    makeSource("content");
    auto delegate = std::make_shared<qf::FileCopyDelegate>();
    Value::Dictionary settings;
    delegate->fileCopyFinished = [&settings](const auto& shared) { settings = shared->snapshot(); };
    const Value object = Value::Object(std::make_shared<int>(1));
    EXPECT_TRUE(QFFileManager::copyFileWithProgress(
        source, std::vector<std::string>{"/to/a", "/to/b"}, qf::VerificationType::none, delegate,
        object, "second"));
    EXPECT_EQ(settings, (Value::Dictionary{{"source", source},
                                           {"destinations", Value::Array{"/to/a", "/to/b"}},
                                           {"operationtype", "copy"},
                                           {"delegate", Value::Object(delegate)},
                                           {"object", object},
                                           {"object2", "second"}}));
    settings.clear();
}

TEST_P(VerifiedCopyWithDigest, TheDigestsAreInTheSettingsOnceTheyAreKnown) {
    const auto type = GetParam().type;
    const auto content = patternedText(100'000);
    makeSource(content);
    streams.files["/to/b"].alter = changing(99'999);
    streams.files["/to/c"].alter = changing(0);
    CopyObserver observer;
    auto firstBytes = std::make_shared<Value::Dictionary>();
    observer.delegate()->fileCopyBytesWritten = [firstBytes](auto, const auto& settings) {
        *firstBytes = settings->snapshot();
        firstBytes->erase("delegate");
    };
    EXPECT_TRUE(copy({"/to/a", "/to/b", "/to/c"}, type, observer.delegate()));
    const auto record = observer.record();
    const Value good = *digestOf(type, content);
    const Value last = *digestOf(type, contentOf("/to/b"));
    const Value first = *digestOf(type, contentOf("/to/c"));

    EXPECT_EQ(firstBytes->size(), 3U);
    ASSERT_EQ(record.failures.size(), 2U);
    EXPECT_EQ(record.failures[0].file, "/to/b");
    EXPECT_EQ(record.failures[0].settings.at("sourceChecksum"), good);
    EXPECT_EQ(record.failures[0].settings.at("destChecksum"), last);
    EXPECT_FALSE(record.failures[0].settings.contains("destChecksums"));
    EXPECT_EQ(record.failures[1].file, "/to/c");
    EXPECT_EQ(record.failures[1].settings.at("destChecksum"), first);
    ASSERT_EQ(record.finished.size(), 1U);
    EXPECT_EQ(record.finished[0].at("destChecksums"), Value(Value::Array{good, last, first}));
    EXPECT_EQ(record.finished[0].at("destChecksum"), first);
    EXPECT_EQ(record.finished[0].at("sourceChecksum"), good);
}

TEST_F(VerifiedCopyTest, WithoutVerificationTheSettingsHoldNoDigests) {
    makeSource("content");
    CopyObserver observer;
    EXPECT_TRUE(copy({"/to/a"}, qf::VerificationType::none, observer.delegate()));
    EXPECT_EQ(observer.record().finished[0].size(), 3U);
}

class VerifiedCopyOfAnotherType : public VerifiedCopyTest,
                                  public testing::WithParamInterface<TypeOfCopy> {};

TEST_P(VerifiedCopyOfAnotherType, CountsEveryDestinationAsFailed) {
    makeSource("content");
    CopyObserver observer;
    EXPECT_TRUE(copy({"/to/a", "/to/b"}, GetParam().type, observer.delegate()));
    const auto record = observer.record();
    ASSERT_EQ(record.failures.size(), 2U);
    EXPECT_EQ(record.failures[0].file, "/to/a");
    EXPECT_EQ(record.failures[1].file, "/to/b");
    EXPECT_FALSE(record.failures[1].settings.contains("destChecksum"));
    EXPECT_FALSE(record.finished[0].contains("sourceChecksum"));
    EXPECT_EQ(record.finished[0].at("destChecksums"), Value(Value::Array{}));
}

INSTANTIATE_TEST_SUITE_P(, VerifiedCopyOfAnotherType,
                         testing::Values(TypeOfCopy{{"Seven"}, qf::VerificationType{7}},
                                         TypeOfCopy{{"Five"}, qf::VerificationType{5}},
                                         TypeOfCopy{{"MinusOne"}, qf::VerificationType{-1}},
                                         TypeOfCopy{{"Thousand"}, qf::VerificationType{1000}}),
                         nameOfCase);

TEST_F(VerifiedCopyTest, NobodyHasToListenToAFailedVerification) {
    makeSource("content");
    streams.files["/to/a"].alter = changing(3);
    EXPECT_TRUE(copy({"/to/a"}, qf::VerificationType::md5));
    auto delegate = std::make_shared<qf::FileCopyDelegate>();
    Value::Dictionary settings;
    delegate->fileCopyFinished = [&settings](const auto& shared) { settings = shared->snapshot(); };
    EXPECT_TRUE(copy({"/to/a"}, qf::VerificationType::md5, delegate));
    EXPECT_FALSE(settings.contains("destChecksum"));
    EXPECT_TRUE(settings.contains("destChecksums"));
    settings.clear();
}

TEST_F(VerifiedCopyTest, OverlappingCallsMayReadAndChangeTheSettings) {
    makeBottomlessSource(40 * twentyMebibytes, {"/to/a"});
    Release released;
    auto delegate = std::make_shared<qf::FileCopyDelegate>();
    delegate->fileCopyBytesWritten =
        [token = released.token()](auto bytes, const qf::FileCopySettings& settings) {
            settings->set("bytes", static_cast<std::int64_t>(bytes));
            EXPECT_GE(settings->snapshot().size(), 5U);
        };
    delegate->fileCopyShouldContinue = [](const qf::FileCopySettings& settings) {
        settings->set("asked", true);
        return (*settings)["source"] == Value(source);
    };
    EXPECT_TRUE(copy({"/to/a"}, otherType, delegate));
    delegate.reset();
    released.wait();
}

// Verification.

TEST_F(VerifiedCopyTest, AMediumThatAltersTheDataIsToldAndTheCopyStillSucceeds) {
    const auto content = patternedText(300'000);
    makeSource(content);
    streams.files["/to/b"].alter = changing(131'072);
    CopyObserver observer;
    EXPECT_TRUE(copy({"/to/a", "/to/b"}, qf::VerificationType::md5, observer.delegate()));
    const auto record = observer.record();
    ASSERT_EQ(record.failures.size(), 1U);
    EXPECT_EQ(record.failures[0].file, "/to/b");
    EXPECT_EQ(record.failures[0].settings.at("destChecksum"),
              Value(*digestOf(qf::VerificationType::md5, contentOf("/to/b"))));
    EXPECT_EQ(record.finished.size(), 1U);
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

// The medium.

class VerifiedDestination : public VerifiedCopyTest,
                            public testing::WithParamInterface<TypeOfCopy> {};

TEST_P(VerifiedDestination, IsWrittenThroughBeforeItIsClosed) {
    makeSource("content");
    EXPECT_TRUE(copy({"/to/b", "/to/a"}, GetParam().type));
    EXPECT_EQ(streams.events,
              (Lines{"open /from/source", "open /to/b", "open /to/a", "sync /to/b", "sync /to/a",
                     "close /from/source", "close /to/b", "close /to/a"}));
}

INSTANTIATE_TEST_SUITE_P(, VerifiedDestination,
                         testing::Values(TypeOfCopy{{"Md5"}, qf::VerificationType::md5},
                                         TypeOfCopy{{"Other"}, otherType}),
                         nameOfCase);

TEST_F(VerifiedCopyTest, AMediumThatTakesNotEverythingIsToldAsADifference) {
    makeSource("content");
    streams.files["/to/b"].syncs = false;
    CopyObserver observer;
    EXPECT_TRUE(copy({"/to/a", "/to/b", "/to/c"}, qf::VerificationType::sha1, observer.delegate()));
    const auto record = observer.record();
    const Value digest = *digestOf(qf::VerificationType::sha1, "content");
    ASSERT_EQ(record.failures.size(), 1U);
    EXPECT_EQ(record.failures[0].file, "/to/b");
    EXPECT_EQ(record.failures[0].settings.at("destChecksum"), digest);
    ASSERT_EQ(record.finished.size(), 1U);
    EXPECT_EQ(record.finished[0].at("destChecksums"), Value(Value::Array{digest, digest, digest}));
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(VerifiedCopyTest, ACancelledCopyWaitsForNoMedium) {
    makeBottomlessSource(DescribedFile::unlimited, {"/to/a"});
    fileSystem.attributes[source]->size = 0;
    CopyObserver observer(false);
    EXPECT_FALSE(copy({"/to/a"}, qf::VerificationType::md5, observer.delegate()));
    EXPECT_EQ(std::ranges::count(streams.events, "sync /to/a"), 0);
}

/// What a medium makes of the data that it keeps.
struct ChangeOnMedium : NamedCase {
    void (*change)(std::string&);
};

class VerifiedCopyChangedOnMedium
    : public VerifiedCopyTest,
      public testing::WithParamInterface<std::tuple<TypeOfCopy, ChangeOnMedium>> {};

TEST_P(VerifiedCopyChangedOnMedium, ShowsOnlyInASecondRead) {
    const auto type = std::get<TypeOfCopy>(GetParam()).type;
    makeSource(patternedText(200'000));
    streams.files["/to/b"].keepOnMedium = std::get<ChangeOnMedium>(GetParam()).change;
    CopyObserver cursory;
    EXPECT_TRUE(copy({"/to/a", "/to/b"}, type, cursory.delegate()));
    EXPECT_EQ(cursory.record().failures.size(), 0U);

    CopyObserver thorough;
    const auto result = copyFromMedium({"/to/a", "/to/b"}, type, thorough.delegate());
    EXPECT_TRUE(result.succeeded);
    EXPECT_EQ(result.outcomes,
              (Outcomes{qf::FileCopyOutcome::copied, qf::FileCopyOutcome::different}));
    const auto record = thorough.record();
    ASSERT_EQ(record.failures.size(), 1U);
    EXPECT_EQ(record.failures[0].settings.at("destChecksum"),
              Value(*digestOf(type, contentOf("/to/b"))));
}

INSTANTIATE_TEST_SUITE_P(
    , VerifiedCopyChangedOnMedium,
    testing::Combine(
        testing::ValuesIn(digestTypes),
        testing::Values(ChangeOnMedium{{"Flipped"}, [](std::string& kept) { kept[150'000] ^= 1; }},
                        ChangeOnMedium{{"Shortened"},
                                       [](std::string& kept) { kept.resize(kept.size() - 1); }},
                        ChangeOnMedium{{"Lengthened"}, [](std::string& kept) { kept += '\0'; }})),
    nameOfCases);

TEST_F(VerifiedCopyTest, AMediumThatCannotBeReadAgainFails) {
    makeSource("content");
    streams.files["/to/a"].seekError = EIO;
    streams.files["/to/b"].keepOnMedium = [this](std::string& kept) {
        streams.files["/to/b"].readableBytes = kept.size();
        kept += "which cannot be read";
    };
    const auto result = copyFromMedium({"/to/a", "/to/b"}, qf::VerificationType::md5);
    EXPECT_EQ(result.outcomes,
              (Outcomes{qf::FileCopyOutcome::different, qf::FileCopyOutcome::different}));
}

class VerifiedCopyWithoutDigests : public VerifiedCopyTest,
                                   public testing::WithParamInterface<TypeOfCopy> {};

TEST_P(VerifiedCopyWithoutDigests, IsNotReadAgain) {
    makeSource("content");
    bool forgotten = false;
    streams.files["/to/a"].keepOnMedium = [&](std::string& /*kept*/) { forgotten = true; };
    EXPECT_TRUE(copyFromMedium({"/to/a"}, GetParam().type).succeeded);
    EXPECT_FALSE(forgotten);
}

INSTANTIATE_TEST_SUITE_P(, VerifiedCopyWithoutDigests,
                         testing::Values(TypeOfCopy{{"None"}, qf::VerificationType::none},
                                         TypeOfCopy{{"Other"}, otherType}),
                         nameOfCase);

// What became of each destination.

TEST_F(VerifiedCopyTest, EveryDestinationHasItsOutcome) {
    const auto content = patternedText(150'000);
    makeSource(content);
    streams.files["/to/full"].room = 70'000;
    streams.files["/to/lost"].syncs = false;
    streams.files["/to/altered"].alter = changing(3);
    const auto result = copyWithResult({"/to/full", "/to/a", "/to/lost", "/to/altered"},
                                       {.verificationType = qf::VerificationType::md5});
    EXPECT_TRUE(result.succeeded);
    EXPECT_EQ(result.outcomes,
              (Outcomes{qf::FileCopyOutcome::notWritten, qf::FileCopyOutcome::copied,
                        qf::FileCopyOutcome::notSynced, qf::FileCopyOutcome::different}));
}

TEST_F(VerifiedCopyTest, AnUnverifiedDestinationHasOnlyToTakeEverything) {
    makeSource("content");
    streams.files["/to/full"].room = 3;
    streams.files["/to/altered"].alter = changing(3);
    const auto result = copyWithResult({"/to/full", "/to/altered"}, {});
    EXPECT_TRUE(result.succeeded);
    EXPECT_EQ(result.outcomes,
              (Outcomes{qf::FileCopyOutcome::notWritten, qf::FileCopyOutcome::copied}));
}

struct EndOfCopy : NamedCase {
    const char* path;
};

class DestinationThatEndsACopy : public VerifiedCopyTest,
                                 public testing::WithParamInterface<EndOfCopy> {};

TEST_P(DestinationThatEndsACopy, IsUnreachable) {
    makeSource("content");
    streams.files["/to/closed"].opens = false;
    streams.files["/to/full of ink"].empties = false;
    fileSystem.failures["create /bad"] = {.localizedDescription = "It may not be."};
    const auto result = copyWithResult({"/to/a", GetParam().path, "/to/b"}, {});
    EXPECT_FALSE(result.succeeded);
    EXPECT_EQ(result.error->localizedDescription, console.systemLogLines().back());
    EXPECT_EQ(result.outcomes,
              (Outcomes{qf::FileCopyOutcome::incomplete, qf::FileCopyOutcome::unreachable,
                        qf::FileCopyOutcome::incomplete}));
}

INSTANTIATE_TEST_SUITE_P(, DestinationThatEndsACopy,
                         testing::Values(EndOfCopy{{"NotOpened"}, "/to/closed"},
                                         EndOfCopy{{"NotEmptied"}, "/to/full of ink"},
                                         EndOfCopy{{"WithoutDirectory"}, "/bad/c"}),
                         nameOfCase);

// Filled aside, and with the source's metadata.

TEST_F(VerifiedCopyTest, AGoodCopyFilledAsideGetsItsNameOnceItHasPassed) {
    makeSource("content");
    streams.files["/to/a"].content = "former";
    std::string atTheFinish;
    const auto observer = std::make_shared<qf::FileCopyDelegate>();
    observer->fileCopyBytesWritten = [&](std::uint64_t /*bytes*/, const auto& /*settings*/) {
        atTheFinish = streams.files["/to/a"].content;
    };
    const auto result = copyWithResult(
        {"/to/a"}, {.verificationType = qf::VerificationType::md5, .filling = qf::Filling::aside},
        observer);
    EXPECT_EQ(result.outcomes, Outcomes{qf::FileCopyOutcome::copied});
    EXPECT_EQ(atTheFinish, "former");
    EXPECT_EQ(streams.files["/to/a"].content, "content");
    const auto named = std::ranges::find(streams.events, "name /to/a");
    EXPECT_NE(std::find(streams.events.begin(), named, "sync /to/a.beside"), named);
}

TEST_F(VerifiedCopyTest, WhatWasAtADestinationStaysIfItsCopyFailsAside) {
    makeSource("content");
    for (const auto* path : {"/to/altered", "/to/full", "/to/lost", "/to/good"}) {
        streams.files[path].content = "former";
    }
    streams.files["/to/altered.beside"].alter = changing(3);
    streams.files["/to/full.beside"].room = 3;
    streams.files["/to/lost.beside"].syncs = false;
    const auto result = copyWithResult(
        {"/to/altered", "/to/full", "/to/lost", "/to/good"},
        {.verificationType = qf::VerificationType::md5, .filling = qf::Filling::aside});
    EXPECT_TRUE(result.succeeded);
    EXPECT_EQ(result.outcomes,
              (Outcomes{qf::FileCopyOutcome::different, qf::FileCopyOutcome::notWritten,
                        qf::FileCopyOutcome::notSynced, qf::FileCopyOutcome::copied}));
    for (const auto* path : {"/to/altered", "/to/full", "/to/lost"}) {
        EXPECT_EQ(streams.files[path].content, "former") << path;
        EXPECT_FALSE(fileSystem.attributes.contains(path)) << path; // no dates either
    }
    EXPECT_EQ(streams.files["/to/good"].content, "content");
}

TEST_F(VerifiedCopyTest, AnIncompleteCopyAsideChangesNothing) {
    describe({.content = "content"}, 8); // shorter than it was
    streams.files["/to/a"].content = "former";
    EXPECT_FALSE(copyWithResult({"/to/a"}, {.filling = qf::Filling::aside}).succeeded);
    EXPECT_EQ(streams.files["/to/a"].content, "former");
}

TEST_F(VerifiedCopyTest, SaysWhichCopyDidNotGetItsName) {
    makeSource("content");
    streams.files["/to/a.beside"].getsItsName = false;
    const auto result = copyWithResult({"/to/a", "/to/b"}, {.filling = qf::Filling::aside});
    EXPECT_TRUE(result.succeeded);
    EXPECT_EQ(result.outcomes,
              (Outcomes{qf::FileCopyOutcome::notNamed, qf::FileCopyOutcome::copied}));
    EXPECT_EQ(console.systemLogLines(), std::vector<std::string>{"Error naming file /to/a: 5"});
}

TEST_F(VerifiedCopyTest, TheMetadataIsKeptBeforeTheFirstByteAndAfterTheLast) {
    makeSource("content");
    streams.files["/to/a"].beforeWrite = [this](std::uint64_t /*position*/) {
        EXPECT_EQ(streams.events.back(), "metadata /to/a");
        streams.events.emplace_back("write");
    };
    EXPECT_TRUE(copyWithResult({"/to/a"}, {.keepMetadata = qf::KeepMetadata::yes}).succeeded);
    const auto written = std::ranges::find(streams.events, "write");
    EXPECT_NE(std::find(written, streams.events.end(), "metadata /to/a"), streams.events.end());
}

TEST_F(VerifiedCopyTest, MetadataThatCannotBeKeptIsToldOnceAndTheCopyIsMade) {
    makeSource("content");
    streams.files["/to/a"].keepsMetadata = false;
    EXPECT_TRUE(copyWithResult({"/to/a"}, {.keepMetadata = qf::KeepMetadata::yes}).succeeded);
    EXPECT_EQ(streams.files["/to/a"].content, "content");
    EXPECT_EQ(console.systemLogLines(), Lines{"Error setting metadata for file /to/a: 5"});
}

TEST_F(VerifiedCopyTest, ACopyThatEndsEarlySaysWhy) {
    const auto reason = [](const std::vector<std::string>& destinations) {
        return copyWithResult(destinations, {}).error.value().localizedDescription;
    };
    EXPECT_EQ(reason({"/to/a"}),
              "Error: File /from/source doesn't exist. Aborting copy process...");
    describe({.content = "content", .readableBytes = 3}, 7);
    EXPECT_EQ(reason({"/to/a"}), "Error reading file /from/source - aborting...");
    EXPECT_EQ(reason({}),
              "Error: You must have at least one destination. Aborting copy process...");
    describe({.content = "content"}, 8);
    EXPECT_EQ(reason({"/to/a"}),
              "Error: copied file size does not match original source /from/source");
    describe({.opens = false}, 8);
    EXPECT_EQ(reason({"/to/a"}),
              "Error: Unable to read source file /from/source. Aborting copy process...");
}

TEST_F(VerifiedCopyTest, ACopyThatSucceedsOrIsCancelledHasNoReason) {
    makeSource("content");
    EXPECT_FALSE(copyWithResult({"/to/a"}, {}).error.has_value());
    const auto observer = std::make_shared<qf::FileCopyDelegate>();
    observer->fileCopyShouldContinue = [](const auto& /*settings*/) { return false; };
    EXPECT_FALSE(copyWithResult({"/to/a"}, {}, observer).error.has_value());
}

TEST_F(VerifiedCopyTest, EveryDestinationOfACopyThatFailsIsIncomplete) {
    describe({.content = "content", .readableBytes = 3}, 7);
    EXPECT_EQ(copyWithResult({"/to/a"}, {}).outcomes, Outcomes{qf::FileCopyOutcome::incomplete});
    describe({.content = "content"}, 8);
    EXPECT_EQ(copyWithResult({"/to/a"}, {}).outcomes, Outcomes{qf::FileCopyOutcome::incomplete});
    EXPECT_EQ(copyWithResult({}, {}).outcomes, Outcomes{});
}

// The dates.

TEST_F(VerifiedCopyTest, EveryDestinationGetsTheDatesOfTheSource) {
    makeSource("content");
    EXPECT_TRUE(copy({"/to/a", "/to/b"}));
    EXPECT_EQ(fileSystem.changes,
              (Lines{"creation date /to/a", "date /to/a", "creation date /to/b", "date /to/b"}));
    using Dates = std::map<std::string, qf::Date>;
    EXPECT_EQ(fileSystem.creationDates, (Dates{{"/to/a", created}, {"/to/b", created}}));
    EXPECT_EQ(fileSystem.modificationDates, (Dates{{"/to/a", modified}, {"/to/b", modified}}));
}

TEST_F(VerifiedCopyTest, TheDelegateHearsOfTheEndOnceTheDatesAreSet) {
    makeSource("content");
    auto delegate = std::make_shared<qf::FileCopyDelegate>();
    Lines changes;
    delegate->fileCopyFinished = [&](const auto&) { changes = fileSystem.changes; };
    EXPECT_TRUE(copy({"/to/a"}, qf::VerificationType::none, delegate));
    EXPECT_EQ(changes, (Lines{"creation date /to/a", "date /to/a"}));
}

TEST_F(VerifiedCopyTest, ASourceWithoutCreationDateLeavesTheDatesAlone) {
    makeSource("content");
    fileSystem.attributes[source]->creationDate.reset();
    EXPECT_TRUE(copy({"/to/a"}));
    EXPECT_EQ(fileSystem.changes, Lines{});
    EXPECT_EQ(console.systemLogLines(), Lines{});
}

TEST_F(VerifiedCopyTest, DatesThatCannotBeSetAreSaidOnceADestinationAndChangeNothingElse) {
    makeSource("content");
    fileSystem.failures["creation date /to/a"] = {.localizedDescription = "No creation date."};
    fileSystem.failures["creation date /to/b"] = {.localizedDescription = "Not yours."};
    fileSystem.failures["date /to/b"] = {.localizedDescription = "Still not yours."};
    fileSystem.failures["date /to/c"] = {.localizedDescription = "No date."};
    CopyObserver observer;
    EXPECT_TRUE(copy({"/to/a", "/to/b", "/to/c"}, qf::VerificationType::none, observer.delegate()));
    EXPECT_EQ(console.systemLogLines(),
              (Lines{"Error setting metadata for file /to/a - No creation date.",
                     "Error setting metadata for file /to/b - Not yours.",
                     "Error setting metadata for file /to/c - No date."}));
    EXPECT_EQ(fileSystem.changes.size(), 6U);
    EXPECT_EQ(observer.record().finished.size(), 1U);
}

TEST_F(VerifiedCopyTest, NamesThatLookLikeFormatsStayUnchanged) {
    makeSource("content");
    streams.files["/to/%@%n%s 100%"].room = 0;
    EXPECT_TRUE(copy({"/to/%@%n%s 100%"}));
    EXPECT_EQ(console.systemLogLines(), Lines{"Error writing file /to/%@%n%s 100%: 1"});
}

} // namespace
