#include "benchmarks/copy/BareCopy.h"

#include "platform/linux/posix/FileDescriptor.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <string>
#include <system_error>

namespace {

constexpr std::size_t chunkSize = 65536;
using Buffer = std::array<unsigned char, chunkSize>;

constexpr const char* creationDate = "user.qf.creationdate";

qf::native::FileDescriptor open(const std::string& path, int flags) {
    return qf::native::FileDescriptor(::open(path.c_str(), flags | O_CLOEXEC, 0666));
}

void check(bool succeeded) {
    if (!succeeded) {
        throw std::system_error(errno, std::generic_category(), "the bare copy");
    }
}

const EVP_MD* algorithmOf(qf::VerificationType type) {
    static const std::array all{
        EVP_MD_fetch(nullptr, "MD5", nullptr), EVP_MD_fetch(nullptr, "SHA1", nullptr),
        EVP_MD_fetch(nullptr, "SHA256", nullptr), EVP_MD_fetch(nullptr, "SHA512", nullptr)};
    const auto index = static_cast<std::size_t>(type) - 1;
    return index < all.size() ? all.at(index) : nullptr;
}

} // namespace

void copyBare(const std::string& source, const std::vector<std::string>& destinations,
              qf::VerificationType type) {
    const auto algorithm = algorithmOf(type);
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> digest(EVP_MD_CTX_new(),
                                                                         EVP_MD_CTX_free);
    if (algorithm != nullptr) {
        check(EVP_DigestInit_ex2(digest.get(), algorithm, nullptr) == 1);
    }
    const auto input = open(source, O_RDONLY);
    check(static_cast<bool>(input));
    std::vector<qf::native::FileDescriptor> outputs;
    for (const auto& path : destinations) {
        outputs.push_back(open(path, O_RDWR | O_CREAT | O_TRUNC));
        check(static_cast<bool>(outputs.back()));
    }
    const auto buffer = std::make_unique<Buffer>();
    const auto readBack = std::make_unique<Buffer>();
    off_t position = 0;
    ssize_t count = 0;
    while ((count = ::read(input.get(), buffer->data(), chunkSize)) > 0) {
        const auto size = static_cast<std::size_t>(count);
        for (const auto& output : outputs) {
            check(::write(output.get(), buffer->data(), size) == count);
            if (type != qf::VerificationType::none) {
                check(::lseek(output.get(), position, SEEK_SET) == position);
                check(::read(output.get(), readBack->data(), size) == count);
            }
        }
        if (algorithm != nullptr) {
            check(EVP_DigestUpdate(digest.get(), buffer->data(), size) == 1);
        }
        position += count;
    }
    check(count == 0);
}

void keepDatesBare(const std::string& source, const std::vector<std::string>& destinations) {
    struct statx status {};
    check(::statx(AT_FDCWD, source.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME,
                  &status) == 0);
    std::array<char, 32> text{};
    if (::lgetxattr(source.c_str(), creationDate, text.data(), text.size()) < 0) {
        check(errno == ENODATA);
    }
    const auto creation =
        std::to_string(status.stx_btime.tv_sec * 1'000'000'000LL + status.stx_btime.tv_nsec);
    const std::array<timespec, 2> times{
        timespec{.tv_sec = 0, .tv_nsec = UTIME_OMIT},
        timespec{.tv_sec = status.stx_mtime.tv_sec, .tv_nsec = status.stx_mtime.tv_nsec}};
    for (const auto& path : destinations) {
        check(::setxattr(path.c_str(), creationDate, creation.data(), creation.size(), 0) == 0);
        check(::utimensat(AT_FDCWD, path.c_str(), times.data(), 0) == 0);
    }
}
