#include "platform/linux/files/FileCopier.h"

#include "platform/linux/files/Metadata.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/OpenDirectory.h"
#include "platform/linux/posix/SystemCall.h"

#include <fcntl.h>

#include <cerrno>
#include <utility>

namespace qf::native {

namespace {

bool isSameMoment(const statx_timestamp& one, const statx_timestamp& other) {
    return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

} // namespace

SystemResult<SourceFile> FileCopier::open(int directory, const std::string& name) {
    auto file = opened(retryOnEintr([&] {
        return ::openat(directory, name.c_str(),
                        O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    }));
    if (!file) {
        return Unexpected(failedWith(file, ELOOP, ENXIO) ? changedMeanwhile : file.error());
    }
    const auto status = statusOf(file->get());
    if (!status) {
        return Unexpected(status.error());
    }
    if (!S_ISREG(status->stx_mode)) {
        return Unexpected(changedMeanwhile);
    }
    return SourceFile{*std::move(file), *status};
}

SystemResult<void> FileCopier::fill(const SourceFile& source, const FileDescriptor& copy) {
    const int file = source.descriptor.get();
    auto filled = content_.copy(file, source.status, copy.get());
    return filled ? copyMetadata(file, source.status, copy.get()) : filled;
}

SystemResult<void> FileCopier::check(const SourceFile& source, const FileDescriptor& copy) {
    auto compared = content_.compare(source.descriptor.get(), copy.get());
    const auto now = statusOf(source.descriptor.get());
    if (!now) {
        return Unexpected(now.error());
    }
    if (now->stx_size != source.status.stx_size ||
        !isSameMoment(now->stx_mtime, source.status.stx_mtime)) {
        return Unexpected(changedMeanwhile);
    }
    return compared;
}

} // namespace qf::native
