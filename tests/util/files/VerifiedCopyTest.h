#pragma once

#include "platform/linux/files/Digests.h"
#include "tests/support/DescribedMachine.h"
#include "tests/support/FileStreamDoubles.h"
#include "tests/util/files/CopyObserver.h"
#include "util/files/QFFileManager.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

/// A machine of doubles with one file to copy, "/from/source", and a directory for copies, "/to".
class VerifiedCopyTest : public DescribedMachine {
protected:
    static constexpr const char* source = "/from/source";
    static constexpr qf::Date created{std::chrono::hours(1)};
    static constexpr qf::Date modified{std::chrono::hours(2)};
    static constexpr std::uint64_t chunk = 65536;

    VerifiedCopyTest() {
        fileSystem.directories["/to"].emplace();
        services.rightsStatus = qf::errAuthorizationCanceled;
    }

    /// Creates the source with this content.
    void makeSource(const std::string& content) { describe({.content = content}, content.size()); }

    /// Does the same with so many arbitrary bytes, which the copies do not keep.
    void makeBottomlessSource(std::uint64_t size, const std::vector<std::string>& destinations) {
        describe({.bottomless = size}, size);
        for (const auto& destination : destinations) {
            streams.files[destination].bottomless = size;
        }
    }

    void describe(const DescribedFile& file, std::uint64_t size) {
        fileSystem.files.insert(source);
        fileSystem.attributes[source] = {.kind = qf::ItemKind::file,
                                         .size = size,
                                         .modificationDate = modified,
                                         .creationDate = created};
        streams.files[source] = file;
    }

    static bool copy(const std::vector<std::string>& destinations,
                     qf::VerificationType type = qf::VerificationType::none,
                     const std::shared_ptr<qf::FileCopyDelegate>& delegate = nullptr) {
        return QFFileManager::copyFileWithProgress(source, destinations, type, delegate, {}, {});
    }

    static qf::FileCopyResult
    copyWithResult(const std::vector<std::string>& destinations, const qf::FileCopyOptions& options,
                   const std::shared_ptr<qf::FileCopyDelegate>& delegate = nullptr) {
        return QFFileManager::copyFileWithResult(source, destinations, options, delegate, {}, {});
    }

    static qf::FileCopyResult
    copyFromMedium(const std::vector<std::string>& destinations, qf::VerificationType type,
                   const std::shared_ptr<qf::FileCopyDelegate>& delegate = nullptr) {
        return copyWithResult(
            destinations, {.verificationType = type, .fromMedium = qf::FromMedium::yes}, delegate);
    }

    const std::string& contentOf(const std::string& path) { return streams.files.at(path).content; }

    static std::optional<std::string> digestOf(qf::VerificationType type, std::string_view text) {
        const auto digest = [text](auto context, auto finisher) {
            context.update(std::as_bytes(std::span(text.data(), text.size())));
            return finisher(context);
        };
        switch (type) {
        case qf::VerificationType::md5:
            return digest(qf::MD5Context(), QFFileManager::md5HashWithContext);
        case qf::VerificationType::sha1:
            return digest(qf::SHA1Context(), QFFileManager::sha1HashWithContext);
        case qf::VerificationType::sha256:
            return digest(qf::SHA256Context(), QFFileManager::sha256HashWithContext);
        case qf::VerificationType::sha512:
            return digest(qf::SHA512Context(), QFFileManager::sha512HashWithContext);
        default:
            return std::nullopt;
        }
    }

    DescribedFileStreams streams;

private:
    qf::native::Digests digests_;
    qf::ScopedService<qf::Digests> digestsScope_{digests_};
    qf::ScopedService<qf::FileStreams> streamsScope_{streams};
};
