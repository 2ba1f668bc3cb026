// diskutil info -plist MOUNTPOINT
//
// Describes the local volume mounted on a directory. Facts that the machine does not report are
// left out.

#include "platform/foundation/Path.h"
#include "platform/foundation/Value.h"
#include "platform/linux/desktop/Volumes.h"
#include "platform/linux/plist/PropertyListNodes.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/tools/Tool.h"

#include <blkid/blkid.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>

#include <charconv>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>

namespace {

namespace fs = std::filesystem;
namespace native = qf::native;
namespace tool = qf::native::tool;
using native::Volume;
using qf::Value;

/// Returns the volume mounted on a directory, which may be spelled in any way.
Volume volumeAt(const std::string& directory) {
    std::error_code error;
    const auto mountPoint = fs::canonical(directory, error).string();
    if (error) {
        throw tool::ToolError(native::failureSentence(
            directory, "described", native::reason(native::Errno(error.value()))));
    }
    for (auto& volume : native::mountedLocalVolumes()) {
        if (volume.mountPoint == mountPoint) {
            return volume;
        }
    }
    throw tool::ToolError(
        native::failureSentence(directory, "described", "no local volume is mounted there"));
}

// ---- The device --------------------------------------------------------------------------------

/// Returns the first line of a kernel file, without leading and trailing blanks; nullopt if the
/// file does not exist.
std::optional<std::string> lineOf(const fs::path& file) {
    std::ifstream stream(file);
    std::string line;
    return std::getline(stream, line) ? std::optional(std::string(qf::text::trimmed(line)))
                                      : std::nullopt;
}

std::optional<std::int64_t> numberOf(const fs::path& file) {
    const auto line = lineOf(file);
    std::int64_t number = 0;
    if (!line ||
        std::from_chars(line->data(), line->data() + line->size(), number).ec != std::errc()) {
        return std::nullopt;
    }
    return number;
}

bool isSet(const fs::path& file) {
    return numberOf(file).value_or(0) != 0;
}

/// Returns where the kernel describes the block device of a volume; nullopt if it has none.
std::optional<fs::path> deviceDirectory(const Volume& volume) {
    struct stat status {};
    const bool isNamed = ::stat(volume.source.c_str(), &status) == 0 && S_ISBLK(status.st_mode);
    const dev_t number = isNamed ? status.st_rdev : volume.device;
    std::error_code error;
    auto directory = fs::canonical("/sys/dev/block/" + std::to_string(major(number)) + ":" +
                                       std::to_string(minor(number)),
                                   error);
    return error ? std::nullopt : std::optional(std::move(directory));
}

/// Returns the device that contains a partition; any other device itself.
fs::path wholeDevice(const fs::path& device) {
    return fs::exists(device / "partition") ? device.parent_path() : device;
}

/// Returns whether a device is built into the machine: not removable, not attached by a cable, and
/// not a disk image. A device composed of others is internal if they are.
bool isInternal(const fs::path& device) {
    const auto whole = wholeDevice(device);
    std::error_code error;
    bool isMadeOfOthers = false;
    for (const auto& other : fs::directory_iterator(whole / "slaves", error)) {
        isMadeOfOthers = true;
        if (!isInternal(fs::canonical(other.path()))) {
            return false;
        }
    }
    const auto isOnCable = [](const fs::path& part) {
        return part.string().starts_with("usb") || part.string().starts_with("fw");
    };
    return isMadeOfOthers ||
           (!isSet(whole / "removable") && !whole.filename().string().starts_with("loop") &&
            std::none_of(whole.begin(), whole.end(), isOnCable));
}

Value::Dictionary describeDevice(const fs::path& device) {
    constexpr std::int64_t sectorSize = 512;
    const auto whole = wholeDevice(device);
    const auto name = device.filename().string();
    const bool isRemovable = isSet(whole / "removable");
    Value::Dictionary result{{"DeviceIdentifier", name},
                             {"DeviceNode", "/dev/" + name},
                             {"ParentWholeDisk", whole.filename().string()},
                             {"WholeDisk", whole == device},
                             {"Internal", isInternal(device)},
                             {"RemovableMedia", isRemovable},
                             {"Ejectable", isRemovable},
                             {"WritableMedia", !isSet(device / "ro")}};
    if (const auto sectors = numberOf(device / "size")) {
        result["Size"] = *sectors * sectorSize;
    }
    if (const auto size = numberOf(whole / "queue/logical_block_size")) {
        result["DeviceBlockSize"] = *size;
    }
    if (const auto model = lineOf(whole / "device/model"); model && !model->empty()) {
        result["MediaName"] = qf::text::printable(*model);
    }
    return result;
}

// ---- The file system ---------------------------------------------------------------------------

struct FreeProbe {
    void operator()(blkid_probe probe) const { blkid_free_probe(probe); }
};

/// Returns a name without the escapes that the system added for its directory: "\\x20" is a blank.
std::string decoded(std::string_view name) {
    constexpr std::size_t escapeLength = 4;
    std::string result;
    while (!name.empty()) {
        unsigned byte = 0;
        if (name.starts_with("\\x") && name.size() >= escapeLength &&
            std::from_chars(name.data() + 2, name.data() + escapeLength, byte, 16).ptr ==
                name.data() + escapeLength) {
            result += static_cast<char>(byte);
            name.remove_prefix(escapeLength);
        } else {
            result += name.front();
            name.remove_prefix(1);
        }
    }
    return result;
}

/// Returns the value of a file system's tag, "UUID" or "LABEL": read from the device or, if only
/// root may do that, from the names that the system has given it.
std::optional<std::string> tagOf(const fs::path& node, const char* tag) {
    const std::unique_ptr<std::remove_pointer_t<blkid_probe>, FreeProbe> probe(
        blkid_new_probe_from_filename(node.c_str()));
    const char* value = nullptr;
    if (probe && blkid_do_safeprobe(probe.get()) == 0 &&
        blkid_probe_lookup_value(probe.get(), tag, &value, nullptr) == 0) {
        return value;
    }
    const auto directory = "/dev/disk/by-" + qf::text::lowercased(tag);
    std::error_code error;
    for (const auto& link : fs::directory_iterator(directory, error)) {
        if (fs::equivalent(link.path(), node, error)) {
            return decoded(link.path().filename().string());
        }
    }
    return std::nullopt;
}

Value::Dictionary describeFileSystem(const Volume& volume) {
    struct statvfs status {};
    if (::statvfs(volume.mountPoint.c_str(), &status) != 0) {
        throw tool::ToolError(native::failureSentence(volume.mountPoint, "described",
                                                      native::reason(native::Errno::last())));
    }
    const auto bytes = [&](fsblkcnt_t blocks) {
        return static_cast<std::int64_t>(blocks * status.f_frsize);
    };
    const bool isWritable = (status.f_flag & ST_RDONLY) == 0;
    return {{"MountPoint", qf::text::printable(volume.mountPoint)},
            {"VolumeName", qf::text::printable(qf::path::lastComponent(volume.mountPoint))},
            {"FilesystemType", volume.type},
            {"FilesystemName", volume.type},
            {"TotalSize", bytes(status.f_blocks)},
            {"FreeSpace", bytes(status.f_bfree)},
            {"VolumeAllocationBlockSize", static_cast<std::int64_t>(status.f_frsize)},
            {"WritableVolume", isWritable},
            {"ReadOnly", !isWritable}};
}

Value describe(const Volume& volume) {
    auto result = describeFileSystem(volume);
    if (const auto device = deviceDirectory(volume)) {
        result.merge(describeDevice(*device));
        const auto node = "/dev" / device->filename();
        if (const auto uuid = tagOf(node, "UUID")) {
            result["VolumeUUID"] = qf::text::printable(*uuid);
        }
        if (const auto label = tagOf(node, "LABEL"); label && !label->empty()) {
            result["VolumeName"] = qf::text::printable(*label);
        }
    }
    return result;
}

bool run(const std::vector<std::string>& words) {
    if (words.size() != 3 || words[0] != "info" || words[1] != "-plist") {
        throw tool::Misuse();
    }
    const auto xml = native::xmlOf(describe(volumeAt(words[2])));
    if (!xml) {
        throw tool::ToolError("the description is no property list");
    }
    std::cout << *xml;
    return true;
}

} // namespace

int main(int argc, char** argv) {
    return tool::run({.name = "diskutil", .usage = "diskutil info -plist MOUNTPOINT"}, argc, argv,
                     run);
}
