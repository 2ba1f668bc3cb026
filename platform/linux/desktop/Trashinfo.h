#pragma once

#include "platform/linux/posix/Errno.h"

#include <string>
#include <string_view>

namespace qf::native {

/// The extension of a trashinfo, the file that records where a trashed item comes from.
constexpr const char* trashinfoExtension = ".trashinfo";

/// Who moves an item into a trash directory once its trashinfo exists.
enum class Mover {
    self,          ///< The process that wrote the trashinfo; it holds the file's lock meanwhile.
    administrator, ///< A tool that may outlive that process.
};

/// Returns the text of a new trashinfo ("Contents of a trash directory" in the Trash specification
/// 1.0): the path that the item had, percent-encoded, and the local time. A line that other
/// programs ignore records the mover.
std::string trashinfoText(const std::string& path, Mover mover);

/// Returns the path that the text of a trashinfo records, decoded; empty if it records none.
std::string recordedPathIn(std::string_view trashinfo);

/// Returns the mover that the text of a trashinfo records. ENOENT if another program wrote it.
SystemResult<Mover> moverIn(std::string_view trashinfo);

/// Returns the name of the trashinfo for an item with this name in a trash directory.
std::string trashinfoName(const std::string& name);

/// Returns the name in a trash directory to try as the `count`th, from 1 on, for an item: "a.txt",
/// then "a.2.txt". The part before the extension is cut, between characters, if the trashinfo's
/// name would be longer than the limit of 255 bytes.
std::string nameInTrash(const std::string& name, int count);

} // namespace qf::native
