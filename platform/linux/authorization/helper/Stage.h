#pragma once

#include "platform/linux/authorization/helper/Walk.h"

#include <string>

namespace platform::native::helper {

/// A new directory in another one, which none but root may enter, so that nothing can be put in the
/// way of what is copied into it. It goes at the scope's end, if it is empty.
class Stage {
public:
    /// The parent must outlive this. Throws a Refusal.
    explicit Stage(const Item& parent);
    ~Stage();
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;
    Stage(Stage&&) = delete;
    Stage& operator=(Stage&&) = delete;

    const Item& directory() const { return directory_; }

private:
    void remove() const;

    int parent_;
    std::string name_;
    Item directory_;
};

} // namespace platform::native::helper
