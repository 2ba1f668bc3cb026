#pragma once

#include "platform/linux/authorization/helper/Reader.h"
#include "platform/linux/authorization/helper/Walk.h"
#include "platform/linux/posix/FileDescriptor.h"

#include <functional>
#include <string>

namespace qf::native::helper {

/// Copies an item and all that is in it to a name in a directory that none but root can enter. The
/// copy has the item's owners, rights, times, access lists and the user's attributes. No link is
/// followed and only plain files are read, each as far as it reached when it was opened. A device,
/// what the reader may not read, an owner that the copy cannot have, or more than mostLevels, fails
/// the whole of it. On a file system where programs do not get their owner's rights, what is root's
/// may be anybody's work: the copy is the heir's. What a failure leaves is the caller's to remove.
/// Throws a Refusal.
void copyItem(const Item& item, const Reader& reader, const Item& closedDirectory,
              const std::string& name, uid_t heir);

/// Copies what a plain file holds, as far as it reaches now, to an empty one, and returns the first
/// open for reading. Throws a Refusal.
FileDescriptor copyContent(const Item& file, const Reader& reader, const FileDescriptor& to);

using ChildVisitor = std::function<void(const Item& child, const std::string& name)>;

/// Shows `visit` what is in a directory, one after the other. Throws a Refusal.
void forEachIn(const Item& directory, const Reader& reader, const ChildVisitor& visit);

/// Sets a directory's owner, rights and times to those of another one. Throws a Refusal.
void settleLike(const Item& example, const Item& directory);

/// How deep the directories that are copied may be: as deep as any path leads. Deeper ones are made
/// to exhaust who walks through them.
inline constexpr int mostLevels = 2048;

/// Throws a Refusal when a directory is at more than mostLevels.
void requireLevel(int level);

/// Lets this process have the descriptors and the stack that mostLevels take. The program's are a
/// user's.
void liftLimits();

} // namespace qf::native::helper
