#include "platform/linux/authorization/helper/BundleIdentifier.h"

#include "platform/linux/posix/FileDescriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>

namespace qf::native::helper {

namespace {

constexpr std::string_view identifierKey = "CFBundleIdentifier";
constexpr std::size_t longestList = 1UL << 20U;

/// What follows the key in the outermost dictionary.
std::string identifierInXml(std::string_view text) {
    int depth = 0;
    bool isNext = false;
    for (auto begin = text.find('<'); begin != std::string_view::npos; begin = text.find('<')) {
        text.remove_prefix(begin + 1);
        const std::string_view ending = text.starts_with("!--") ? "-->" : ">";
        const auto end = text.find(ending);
        if (end == std::string_view::npos) {
            break;
        }
        const auto tag = text.substr(0, end);
        text.remove_prefix(end + ending.size());
        const auto content = text.substr(0, text.find('<'));
        if (tag == "dict" || tag == "array") {
            ++depth;
        } else if (tag == "/dict" || tag == "/array") {
            --depth;
        } else if (depth == 1 && tag == "key") {
            isNext = content == identifierKey;
        } else if (depth == 1 && tag == "string" && isNext) {
            return std::string(content);
        }
    }
    return "";
}

/// A binary property list: objects, where each of them begins, and at the end where those places
/// are. Every member throws std::out_of_range for what is not there.
class BinaryList {
public:
    explicit BinaryList(std::string_view bytes) : bytes_(bytes) {
        constexpr std::size_t trailerSize = 32;
        if (bytes.size() < trailerSize) {
            throw std::out_of_range("no trailer");
        }
        const std::size_t trailer = bytes.size() - trailerSize;
        placeSize_ = sizeOfNumbers(trailer + 6);
        referenceSize_ = sizeOfNumbers(trailer + 7);
        outermost_ = number(trailer + 16, 8);
        places_ = number(trailer + 24, 8);
    }

    /// What belongs to the key in the outermost dictionary.
    std::string identifier() const {
        const auto [kind, count, begin] = object(outermost_);
        for (std::size_t entry = 0; kind == dictionary && entry < count; ++entry) {
            const std::size_t key = begin + entry * referenceSize_;
            if (text(number(key, referenceSize_)) == identifierKey) {
                return std::string(text(number(key + count * referenceSize_, referenceSize_)));
            }
        }
        return "";
    }

private:
    static constexpr unsigned plainText = 5;
    static constexpr unsigned dictionary = 13;

    struct Object {
        unsigned kind;
        std::size_t count;
        std::size_t begin;
    };

    /// Numbers without bytes could be read without end.
    std::size_t sizeOfNumbers(std::size_t begin) const {
        const std::size_t size = number(begin, 1);
        if (size == 0 || size > sizeof(std::uint64_t)) {
            throw std::out_of_range("no number has this size");
        }
        return size;
    }

    std::size_t number(std::size_t begin, std::size_t size) const {
        std::uint64_t value = 0;
        for (std::size_t index = 0; index < size; ++index) {
            value = value << 8U | static_cast<unsigned char>(bytes_.at(begin + index));
        }
        return value;
    }

    Object object(std::size_t reference) const {
        constexpr unsigned countFollows = 15;
        const std::size_t begin = number(places_ + reference * placeSize_, placeSize_);
        const auto head = static_cast<unsigned>(number(begin, 1));
        const unsigned count = head & 15U;
        if (count != countFollows) {
            return {head >> 4U, count, begin + 1};
        }
        const std::size_t size = 1UL << (number(begin + 1, 1) & 3U);
        return {head >> 4U, number(begin + 2, size), begin + 2 + size};
    }

    std::string_view text(std::size_t reference) const {
        const auto [kind, count, begin] = object(reference);
        return kind == plainText ? bytes_.substr(begin, count) : std::string_view();
    }

    std::string_view bytes_;
    std::size_t placeSize_ = 0;
    std::size_t referenceSize_ = 0;
    std::size_t outermost_ = 0;
    std::size_t places_ = 0;
};

std::string contentOf(const Item& file) {
    const std::string path = "/proc/self/fd/" + std::to_string(file.descriptor.get());
    const FileDescriptor opened(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    std::string content(longestList + 1, '\0');
    std::size_t length = 0;
    ssize_t size = 0;
    do {
        length += static_cast<std::size_t>(size);
        size = ::read(opened.get(), content.data() + length, content.size() - length);
    } while (size > 0);
    content.resize(length);
    return length > longestList ? "" : content;
}

/// What is in a directory of an application, if nobody can have put it there who may not change
/// that.
std::optional<Item> ownItem(const Item& directory, const std::string& name) {
    auto item = findItem(directory.descriptor.get(), name);
    const bool isOwn =
        item && (item->status.stx_uid == directory.status.stx_uid || item->status.stx_uid == 0);
    return isOwn ? std::move(item) : std::nullopt;
}

} // namespace

std::string identifierIn(std::string_view propertyList) {
    try {
        return propertyList.starts_with("bplist") ? BinaryList(propertyList).identifier()
                                                  : identifierInXml(propertyList);
    } catch (const std::out_of_range&) {
        return "";
    }
}

std::string bundleIdentifier(const Item& application) {
    const auto contents =
        application.isDirectory() ? ownItem(application, "Contents") : std::nullopt;
    const auto file =
        contents && contents->isDirectory() ? ownItem(*contents, "Info.plist") : std::nullopt;
    return file && S_ISREG(file->status.stx_mode) && file->status.stx_nlink == 1
               ? identifierIn(contentOf(*file))
               : "";
}

} // namespace qf::native::helper
