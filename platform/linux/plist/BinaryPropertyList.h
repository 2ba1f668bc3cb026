#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace qf::native {

/// The object graph of a property list in binary form: objects that refer to one another by number,
/// a table of their offsets, and a trailer of 32 bytes that locates the table.
///
/// Decodes only the references. The bytes must outlive the object. Not shared between threads.
class BinaryPropertyList {
public:
    explicit BinaryPropertyList(std::string_view bytes) : bytes_(bytes) {}

    /// The most that an unfolded list, in which an object with several references is repeated, may
    /// take.
    struct Limits {
        std::size_t size;   ///< In bytes.
        std::size_t levels; ///< Of containers in containers.
    };

    /// Returns whether every reference leads to a well-formed object, none leads back to an object
    /// that contains it, no text contains a zero character, and the unfolded list is within the
    /// limits.
    bool unfoldsWithin(const Limits& limits);

private:
    /// The size of an object with all its contents.
    struct Extent {
        std::uint64_t size = 0; ///< 0 until it is known.
        std::size_t levels = 0;
        bool isOpen = false;
    };
    struct Object {
        std::uint64_t size = 0;
        std::uint64_t references = 0; ///< Where they begin.
        std::uint64_t referenceCount = 0;
        bool isContainer = false;
    };

    bool readTrailer();
    std::optional<Object> object(std::uint64_t number) const;
    std::optional<Object> countedObject(unsigned kind, std::uint64_t count,
                                        std::uint64_t offset) const;
    bool measure(std::uint64_t number);
    bool measureReferences(const Object& object, Extent& extent);

    /// Returns the big-endian number of `width` bytes at `offset`, which must be inside the bytes.
    std::uint64_t numberAt(std::uint64_t offset, std::uint64_t width) const;
    bool holds(std::uint64_t offset, std::uint64_t size) const {
        return offset <= tableOffset_ && size <= tableOffset_ - offset;
    }

    std::string_view bytes_;
    std::uint64_t offsetWidth_ = 0;
    std::uint64_t referenceWidth_ = 0;
    std::uint64_t root_ = 0;
    std::uint64_t tableOffset_ = 0;
    Limits limits_{};
    /// The containers that are being measured, each in the one before it.
    std::size_t level_ = 0;
    std::vector<Extent> extents_;
};

} // namespace qf::native
