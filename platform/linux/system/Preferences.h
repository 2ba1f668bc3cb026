#pragma once

#include "platform/Preferences.h"
#include "platform/PropertyLists.h"
#include "platform/UserAccount.h"

#include <mutex>

namespace qf::native {

/// Preferences in the property list "`domain`.plist" of the Preferences directory in the user's
/// Library, which is created when a preference is stored. The file is read at every use, so that
/// changes by others are seen; processes that store at the same time wait for one another. A store
/// that is not a property list counts as empty and is replaced; one that cannot be read is left
/// unchanged.
class Preferences : public qf::Preferences {
public:
    /// `account` and `propertyLists` must outlive this.
    Preferences(std::string domain, qf::UserAccount& account, qf::PropertyLists& propertyLists)
        : domain_(std::move(domain)), account_(account), propertyLists_(propertyLists) {}

    Value value(const std::string& key) override;
    void setValue(const std::string& key, const Value& value) override;

private:
    std::string directory() const;
    std::string store() const;
    Result<void> write(const std::string& key, const Value& value);

    std::string domain_;
    qf::UserAccount& account_;
    qf::PropertyLists& propertyLists_;
    std::mutex writing_;
};

} // namespace qf::native
