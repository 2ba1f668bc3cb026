#include "platform/linux/plist/PropertyLists.h"

#include "platform/foundation/Path.h"
#include "platform/linux/files/AtomicFile.h"
#include "platform/linux/plist/PropertyListLimits.h"
#include "platform/linux/plist/PropertyListNodes.h"
#include "platform/linux/posix/Errors.h"

#include <cerrno>

namespace qf::native {

namespace {

constexpr auto inexpressible =
    translatable("because", "it would hold what a property list cannot express");

} // namespace

Value PropertyLists::parse(std::string_view bytes) {
    if (!isWithinLimits(bytes)) {
        return {};
    }
    const NumbersWithPoint numbersWithPoint;
    const auto length = static_cast<std::uint32_t>(bytes.size());
    plist_t node = nullptr;
    if (bytes.starts_with(binaryPropertyListMagic)) {
        plist_from_bin(bytes.data(), length, &node);
    } else {
        plist_from_xml(bytes.data(), length, &node);
    }
    const PropertyListNode root(node);
    return root ? valueOf(root.get()) : Value();
}

std::optional<std::string> PropertyLists::xml(const Value& value) {
    const bool isContainer =
        value.as<Value::Dictionary>() != nullptr || value.as<Value::Array>() != nullptr;
    return isContainer ? xmlOf(value) : std::nullopt;
}

Result<void> PropertyLists::writeAtomically(const Value& value, const std::string& path) {
    const auto name = path::lastComponent(path);
    const auto text = xml(value);
    if (!text) {
        return Unexpected(
            posixError(Errno(EINVAL), name, participle::saved, translated(inexpressible)));
    }
    return posixResult(replaceFile(path, *text), name, participle::saved);
}

Value PropertyLists::read(const std::string& path) {
    const auto content = readFile(path, largestPropertyList);
    return content ? parse(*content) : Value();
}

} // namespace qf::native
