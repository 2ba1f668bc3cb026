// The digest of a file: QFFileManager compared with openssl and the system's digest programs.

#include "benchmarks/copy/Contest.h"
#include "platform/StartUp.h"
#include "util/files/QFFileManager.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>

namespace {

constexpr std::uint64_t size = 512 * 1048576;

using Hash = std::optional<std::string> (*)(const std::string&);

void compareDigests(const std::string& file, const char* name, Hash hash, const char* option,
                    const char* program) {
    contest::compare(std::string("512 MiB, ") + name, 9, static_cast<double>(size),
                     {{"QFFileManager",
                       [&] {
                           if (!hash(file)) {
                               throw std::runtime_error("no digest");
                           }
                       }},
                      {std::string("openssl dgst ") + option,
                       [&] {
                           contest::runAll({{"openssl", "dgst", option, file}});
                       }},
                      {program, [&] {
                           contest::runAll({{program, file}});
                       }}});
}

void run() {
    qf::installServices();
    const contest::DirectoryReader directory(contest::workPlace());
    const auto file = directory.writeNoise("file", size);
    compareDigests(file, "MD5", QFFileManager::md5HashForFile, "-md5", "md5sum");
    compareDigests(file, "SHA-1", QFFileManager::sha1HashForFile, "-sha1", "sha1sum");
    compareDigests(file, "SHA-512", QFFileManager::sha512HashForFile, "-sha512", "sha512sum");
}

} // namespace

int main() {
    try {
        run();
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
}
