#pragma once

#include "platform/linux/Digests.h"
#include "tests/support/DescribedMachine.h"
#include "tests/support/FileStreamDoubles.h"
#include "tests/util/files/CopyObserver.h"
#include "util/files/QFFileManager.h"

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <string_view>

/// A described file system whose items have sizes and dates.
class DatedFileSystem : public DescribedFileSystem {
public:
    std::map<std::string, platform::ItemAttributes> attributes;
    std::map<std::string, std::string> links;
    /// What making a folder, and setting a date, fails with.
    std::map<std::string, platform::Error> createErrors;
    std::map<std::string, platform::Error> creationDateErrors;
    std::map<std::string, platform::Error> modificationDateErrors;

    std::optional<std::string> destinationOfSymbolicLink(const std::string& path) override {
        const auto found = links.find(path);
        return found == links.end() ? std::nullopt : std::optional(found->second);
    }
    std::optional<platform::ItemAttributes> attributesOfItem(const std::string& path) override {
        const auto found = attributes.find(path);
        return found == attributes.end() ? std::nullopt : std::optional(found->second);
    }
    std::optional<platform::Error> createDirectory(const std::string& path) override {
        changes.push_back("create " + path);
        auto error = errorIn(createErrors, path);
        if (!error) {
            folders[path].emplace();
        }
        return error;
    }
    std::optional<platform::Error> setModificationDate(const std::string& path,
                                                       platform::Date date) override {
        changes.push_back("modified " + path + " " + seconds(date));
        return errorIn(modificationDateErrors, path);
    }
    std::optional<platform::Error> setCreationDate(const std::string& path,
                                                   platform::Date date) override {
        changes.push_back("created " + path + " " + seconds(date));
        return errorIn(creationDateErrors, path);
    }

private:
    static std::optional<platform::Error>
    errorIn(const std::map<std::string, platform::Error>& errors, const std::string& path) {
        const auto found = errors.find(path);
        return found == errors.end() ? std::nullopt : std::optional(found->second);
    }
    static std::string seconds(platform::Date date) {
        return std::to_string(
            std::chrono::duration_cast<std::chrono::seconds>(date.time_since_epoch()).count());
    }
};

/// A machine of doubles with one file to copy, "/from/source", and a folder for copies, "/to".
class VerifiedCopyTest : public DescribedMachine {
protected:
    static constexpr const char* source = "/from/source";
    static constexpr std::uint64_t chunk = 65536;

    VerifiedCopyTest() {
        fileSystem.folders["/to"].emplace();
        services.rightsStatus = platform::errAuthorizationCanceled;
    }

    /// Puts a file with this content where the copies are made from.
    void makeSource(const std::string& content) { describe({.content = content}, content.size()); }

    /// The same with so many bytes of nothing in particular, which the copies forget.
    void makeBottomlessSource(std::uint64_t size, const std::vector<std::string>& destinations) {
        describe({.bottomless = size}, size);
        for (const auto& destination : destinations) {
            streams.files[destination].bottomless = size;
        }
    }

    void describe(const DescribedFile& file, std::uint64_t size) {
        fileSystem.files.insert(source);
        fileSystem.attributes[source] = {.kind = platform::ItemKind::file,
                                         .size = size,
                                         .modificationDate = platform::Date(std::chrono::hours(2)),
                                         .creationDate = platform::Date(std::chrono::hours(1))};
        streams.files[source] = file;
    }

    static bool copy(const std::vector<std::string>& destinations,
                     VerificationType type = VerificationType::none,
                     const std::shared_ptr<FileCopyDelegate>& delegate = nullptr) {
        return QFFileManager::copyFileWithProgress(source, destinations, type, delegate, {}, {});
    }

    const std::string& contentOf(const std::string& path) { return streams.files.at(path).content; }

    static std::optional<std::string> digestOf(VerificationType type, std::string_view text) {
        const auto digest = [text](auto context, auto finisher) {
            context.update(std::as_bytes(std::span(text.data(), text.size())));
            return finisher(context);
        };
        switch (type) {
        case VerificationType::md5:
            return digest(MD5Context(), QFFileManager::md5HashWithContext);
        case VerificationType::sha1:
            return digest(SHA1Context(), QFFileManager::sha1HashWithContext);
        case VerificationType::sha256:
            return digest(SHA256Context(), QFFileManager::sha256HashWithContext);
        case VerificationType::sha512:
            return digest(SHA512Context(), QFFileManager::sha512HashWithContext);
        default:
            return std::nullopt;
        }
    }

    DatedFileSystem fileSystem;
    DescribedFileStreams streams;

private:
    platform::native::Digests digests_;
    platform::ScopedService<platform::FileSystem> fileSystemScope_{fileSystem};
    platform::ScopedService<platform::Digests> digestsScope_{digests_};
    platform::ScopedService<platform::FileStreams> streamsScope_{streams};
};
