#include "platform/foundation/Value.h"

namespace qf {

const Value& Value::operator[](const std::string& key) const {
    static const Value none;
    const auto* dictionary = as<Dictionary>();
    if (dictionary == nullptr) {
        return none;
    }
    const auto entry = dictionary->find(key);
    return entry == dictionary->end() ? none : entry->second;
}

} // namespace qf
