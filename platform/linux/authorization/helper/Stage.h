#pragma once

#include "platform/linux/authorization/helper/Walk.h"
#include "platform/linux/posix/FileDescriptor.h"

#include <string>

namespace qf::native::helper {

/// What a stage holds.
enum class StageFor {
    copies, ///< The next process removes them if this one is killed.
    items,  ///< Renamed into it; they exist nowhere else.
};

/// A new directory in another one, which none but root may enter, so that nothing can be put in the
/// way of what is copied or renamed into it. It goes at the scope's end, if it is empty. Until then
/// it is locked.
class Stage {
public:
    /// The parent must outlive this. Throws a Refusal.
    Stage(const Item& parent, StageFor use);
    ~Stage();
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;
    Stage(Stage&&) = delete;
    Stage& operator=(Stage&&) = delete;

    const Item& directory() const { return directory_; }

    /// Notes for who comes after a kill which item is about to be renamed into it, and what that is
    /// to be called where it goes next. Not every file system can keep that.
    void expect(const Item& item, const std::string& nextName) const;

private:
    bool make(StageFor use);
    void remove() const;

    int parent_;
    std::string name_;
    Item directory_;
    FileDescriptor lock_;
};

/// Whether an item is a directory of root's that none but root may enter.
bool isRootsAlone(const Item& directory);

/// Whether a stage was made for copies, on a file system that can tell.
bool isMarkedForCopies(const FileDescriptor& stage);

/// Whether an item, which is in a stage, is the one that was to come, to be called so next.
bool isExpected(const Item& item, const std::string& nextName, const FileDescriptor& stage);

} // namespace qf::native::helper
