// Copying one file to several places with a digest of each: QFFileManager compared with shell
// commands.
//
//     copy [--large]     with a file of 4 GiB, too

#include "benchmarks/copy/BareCopy.h"
#include "benchmarks/copy/Contest.h"
#include "platform/StartUp.h"
#include "util/files/QFFileManager.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string_view>

namespace {

namespace fs = std::filesystem;
using contest::Command;
using contest::Contender;
using Paths = std::vector<std::string>;

constexpr std::array<std::size_t, 3> placeCounts{1, 2, 3};
constexpr double megabyte = 1048576;

struct Kind {
    qf::VerificationType type;
    const char* name;
    /// The digest's name in openssl; empty if there is no digest.
    const char* option;
};

constexpr std::array kinds{
    Kind{qf::VerificationType::none, "no verification", ""},
    Kind{qf::VerificationType::md5, "MD5", "-md5"},
    Kind{qf::VerificationType::sha1, "SHA-1", "-sha1"},
    Kind{qf::VerificationType::sha256, "SHA-256", "-sha256"},
    Kind{qf::VerificationType::sha512, "SHA-512", "-sha512"},
    Kind{qf::VerificationType{7}, "read back without digest", ""},
};

bool hasDigest(const Kind& kind) {
    return *kind.option != '\0';
}

/// Fails if a copy is not verified, so that only successful copies are measured.
std::shared_ptr<qf::FileCopyDelegate> strictDelegate() {
    auto delegate = std::make_shared<qf::FileCopyDelegate>();
    delegate->fileCopyBytesWritten = [](std::uint64_t, const qf::FileCopySettings&) {};
    delegate->fileCopyShouldContinue = [](const qf::FileCopySettings&) { return true; };
    delegate->fileCopyVerificationFailed = [](const qf::FileCopySettings&, const std::string&) {
        std::abort();
    };
    return delegate;
}

void copyOurs(const std::string& source, const Paths& destinations, const Kind& kind) {
    static const auto strict = strictDelegate();
    const bool canFail = hasDigest(kind) || kind.type == qf::VerificationType::none;
    if (!QFFileManager::copyFileWithProgress(source, destinations, kind.type,
                                             canFail ? strict : nullptr, {}, {})) {
        throw std::runtime_error("the copy failed");
    }
}

void removeAll(const Paths& paths) {
    for (const auto& path : paths) {
        fs::remove_all(path);
    }
}

Command digestOf(const Kind& kind, const Paths& paths) {
    Command command{"openssl", "dgst", kind.option};
    command.insert(command.end(), paths.begin(), paths.end());
    return command;
}

/// Runs cp for each, one after the other, then computes the digests of the source and of each copy,
/// so many at a time.
void copyAndDigest(const std::string& source, const Paths& destinations, const Kind& kind,
                   std::size_t atATime) {
    std::vector<Command> copies;
    std::vector<Command> digests{digestOf(kind, {source})};
    for (const auto& destination : destinations) {
        copies.push_back({"cp", "--preserve=timestamps", source, destination});
        digests.push_back(digestOf(kind, {destination}));
    }
    contest::runAll(copies);
    if (hasDigest(kind)) {
        contest::runAll(digests, atATime);
    }
}

/// Runs tee into the destinations and a digest of the source, then a digest of each.
void teeAndDigest(const std::string& source, const Paths& destinations, const Kind& kind) {
    std::array<int, 2> pipe{};
    const int input = ::open(source.c_str(), O_RDONLY | O_CLOEXEC);
    if (input < 0 || ::pipe2(pipe.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    Command tee{"tee"};
    tee.insert(tee.end(), destinations.begin(), destinations.end());
    const int writer = contest::start(tee, {.input = input, .output = pipe[1]});
    const int reader = contest::start(digestOf(kind, {}), {.input = pipe[0]});
    for (const int descriptor : {input, pipe[0], pipe[1]}) {
        ::close(descriptor);
    }
    contest::finish(writer);
    contest::finish(reader);
    for (const auto& destination : destinations) {
        contest::runAll({digestOf(kind, {destination})});
    }
}

/// rclone compares a digest of each file after its transfer.
void copyWithRclone(const std::string& source, const Paths& destinations) {
    for (const auto& destination : destinations) {
        contest::runAll({{"rclone", "--config", "", "copyto", source, destination}});
    }
}

/// Returns `run` with empty destinations before it.
Contender fresh(std::string name, const Paths& destinations, std::function<void()> run) {
    return {std::move(name), std::move(run), [destinations] { removeAll(destinations); }};
}

Paths placesIn(const contest::DirectoryReader& directory, std::size_t count) {
    Paths places;
    for (std::size_t number = 1; number <= count; ++number) {
        places.push_back(directory / ("copy" + std::to_string(number)));
    }
    return places;
}

std::string titleOf(double bytes, std::size_t count, const Kind& kind) {
    return std::to_string(static_cast<int>(bytes / megabyte)) + " MiB to " + std::to_string(count) +
           ", " + kind.name;
}

void compareCopies(const contest::DirectoryReader& reader, const std::string& source, double bytes,
                   std::size_t count, const Kind& kind, std::size_t rounds) {
    const auto places = placesIn(reader, count);
    std::vector<Contender> contenders{
        fresh("QFFileManager", places, [&] { copyOurs(source, places, kind); }),
        fresh("bare system calls", places, [&] { copyBare(source, places, kind.type); }),
    };
    if (hasDigest(kind)) {
        contenders.push_back(fresh("cp, openssl dgst of all", places,
                                   [&] { copyAndDigest(source, places, kind, 1); }));
        contenders.push_back(fresh("cp, openssl dgst two at a time", places,
                                   [&] { copyAndDigest(source, places, kind, 2); }));
        contenders.push_back(fresh("tee | openssl, openssl dgst of each", places,
                                   [&] { teeAndDigest(source, places, kind); }));
    } else {
        contenders.push_back(fresh("cp", places, [&] { copyAndDigest(source, places, kind, 1); }));
    }
    if (hasDigest(kind) && contest::isInstalled("rclone")) {
        contenders.push_back(fresh("rclone copyto (its own check)", places,
                                   [&] { copyWithRclone(source, places); }));
    }
    contest::compare(titleOf(bytes, count, kind), rounds, bytes, contenders);
    removeAll(places);
}

/// On a disk, where a copy that is verified is written through: so are those of the tools.
void compareOnDisk(const contest::DirectoryReader& disk, const std::string& source, double bytes,
                   std::size_t count, const Kind& kind, std::size_t rounds) {
    const auto places = placesIn(disk, count);
    std::vector<Command> syncs;
    for (const auto& place : places) {
        syncs.push_back({"sync", place});
    }
    const std::vector<Contender> contenders{
        fresh("QFFileManager", places, [&] { copyOurs(source, places, kind); }),
        fresh("cp, openssl dgst, sync of each", places,
              [&] {
                  copyAndDigest(source, places, kind, 1);
                  contest::runAll(syncs);
              }),
        fresh("cp, openssl dgst two at a time, sync", places,
              [&] {
                  copyAndDigest(source, places, kind, 2);
                  contest::runAll(syncs);
              }),
    };
    contest::compare(titleOf(bytes, count, kind) + ", on a disk", rounds, bytes, contenders);
    removeAll(places);
}

void compareManyFiles(const contest::DirectoryReader& reader, std::size_t places,
                      std::size_t rounds) {
    constexpr int files = 10000;
    constexpr std::uint64_t size = 16384;
    Paths sources;
    for (int number = 0; number < files; ++number) {
        sources.push_back(reader.writeNoise("many/" + std::to_string(number), size));
    }
    Paths targets;
    for (std::size_t number = 1; number <= places; ++number) {
        targets.push_back(reader / ("many-copy" + std::to_string(number)));
    }
    const auto& kind = kinds[3];
    const auto each = [&](const std::function<void(const std::string&, const Paths&)>& copy) {
        for (const auto& source : sources) {
            Paths destinations;
            for (const auto& target : targets) {
                destinations.push_back(target + source.substr(source.rfind('/')));
            }
            copy(source, destinations);
        }
    };
    const auto copyAllBare = [&](bool dates) {
        std::ranges::for_each(targets, [](const auto& path) { fs::create_directory(path); });
        each([&](const auto& source, const auto& destinations) {
            copyBare(source, destinations, kind.type);
            if (dates) {
                keepDatesBare(source, destinations);
            }
        });
    };
    const auto copyDirectories = [&](std::size_t atATime) {
        std::vector<Command> digests{digestOf(kind, sources)};
        for (const auto& target : targets) {
            contest::runAll({{"cp", "-r", "--preserve=timestamps", reader / "many", target}});
            Paths copies;
            for (const auto& entry : fs::directory_iterator(target)) {
                copies.push_back(entry.path());
            }
            digests.push_back(digestOf(kind, copies));
        }
        contest::runAll(digests, atATime);
    };
    std::vector<Contender> contenders{
        fresh("QFFileManager", targets,
              [&] {
                  each([&](const auto& source, const auto& destinations) {
                      copyOurs(source, destinations, kind);
                  });
              }),
        fresh("bare system calls", targets, [&] { copyAllBare(false); }),
        fresh("bare system calls, dates kept", targets, [&] { copyAllBare(true); }),
        fresh("cp, openssl dgst of all", targets, [&] { copyDirectories(1); }),
        fresh("cp, openssl dgst two at a time", targets, [&] { copyDirectories(2); }),
    };
    if (contest::isInstalled("rclone")) {
        contenders.push_back(fresh("rclone copy (its own check)", targets, [&] {
            for (const auto& target : targets) {
                contest::runAll({{"rclone", "--config", "", "copy", reader / "many", target}});
            }
        }));
    }
    contest::compare("10,000 files of 16 KiB to " + std::to_string(places) + ", " + kind.name,
                     rounds, static_cast<double>(files * size), contenders);
    removeAll(targets);
    removeAll({reader / "many"});
}

void run(bool large) {
    qf::installServices();
    const contest::DirectoryReader reader(contest::workPlace());
    constexpr std::uint64_t size = 256 * 1048576;
    const auto source = reader.writeNoise("source", size);
    for (const auto& kind : kinds) {
        for (const auto count : placeCounts) {
            const std::size_t rounds = kind.type == qf::VerificationType::sha256 ? 13 : 3;
            compareCopies(reader, source, static_cast<double>(size), count, kind, rounds);
        }
    }
    for (const auto count : placeCounts) {
        compareManyFiles(reader, count, 3);
    }
    const contest::DirectoryReader disk(contest::workPlaceOnDisk());
    const auto sourceOnDisk = disk.writeNoise("source", size);
    for (const auto count : placeCounts) {
        compareOnDisk(disk, sourceOnDisk, static_cast<double>(size), count, kinds[3], 13);
    }
    if (large) {
        constexpr std::uint64_t largeSize = std::uint64_t{4096} * 1048576;
        const auto largeSource = reader.writeNoise("large", largeSize);
        for (const auto count : placeCounts) {
            compareCopies(reader, largeSource, static_cast<double>(largeSize), count, kinds[3], 3);
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        run(argc == 2 && std::string_view(argv[1]) == "--large");
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
}
