#include "platform/linux/plist/PropertyListLimits.h"

#include "platform/linux/plist/BinaryPropertyList.h"

#include <algorithm>
#include <vector>

namespace qf::native {

namespace {

/// Returns whether text inside markup ends where its quotes end too, whatever a parser takes for a
/// quote.
bool quotesAreClosed(std::string_view text) {
    const auto doubles = std::count(text.begin(), text.end(), '"');
    const auto singles = std::count(text.begin(), text.end(), '\'');
    return doubles % 2 == 0 && singles % 2 == 0 && (doubles == 0 || singles == 0);
}

/// Walks the markup of the XML form.
class MarkupWalk {
public:
    explicit MarkupWalk(std::string_view bytes) : rest_(bytes) {}

    bool isWithinLimits() {
        for (;;) {
            const auto markup = rest_.find('<');
            if (markup == std::string_view::npos) {
                return true;
            }
            rest_.remove_prefix(markup + 1);
            if (!passMarkup()) {
                return false;
            }
        }
    }

private:
    /// Skips one piece of markup, whose "<" has been read.
    bool passMarkup() {
        if (passes("!--")) {
            return !rest_.starts_with('>') && !rest_.starts_with("->") && upTo("-->").has_value();
        }
        if (passes("![CDATA[")) {
            return upTo("]]>").has_value();
        }
        if (passes("?")) {
            const auto instruction = upTo("?>");
            return instruction && !instruction->starts_with('>') && quotesAreClosed(*instruction);
        }
        const auto tag = upTo(">");
        if (!tag || tag->find_first_of("<[") != std::string_view::npos || !quotesAreClosed(*tag)) {
            return false;
        }
        return tag->starts_with('!') ? tag->starts_with("!DOCTYPE") : element(*tag);
    }

    bool element(std::string_view tag) {
        const auto name = tag.substr(0, tag.find_first_of(" \t\r\n"));
        if (name.empty() || name.find_first_of("\"'") != std::string_view::npos) {
            return false;
        }
        if (name.front() == '/') {
            const bool closes = !open_.empty() && open_.back() == name.substr(1);
            if (closes) {
                open_.pop_back();
            }
            return closes;
        }
        if (!tag.ends_with('/')) {
            open_.push_back(name);
        }
        // The outermost element and a leaf do not count as levels.
        return open_.size() <= deepestPropertyList + 2;
    }

    bool passes(std::string_view prefix) {
        const bool matches = rest_.starts_with(prefix);
        if (matches) {
            rest_.remove_prefix(prefix.size());
        }
        return matches;
    }

    /// Returns the text before `end`, and skips both.
    std::optional<std::string_view> upTo(std::string_view end) {
        const auto position = rest_.find(end);
        if (position == std::string_view::npos) {
            return std::nullopt;
        }
        const auto before = rest_.substr(0, position);
        rest_.remove_prefix(position + end.size());
        return before;
    }

    std::string_view rest_;
    std::vector<std::string_view> open_;
};

} // namespace

bool isWithinLimits(std::string_view bytes) {
    if (bytes.size() > largestPropertyList) {
        return false;
    }
    if (bytes.starts_with(binaryPropertyListMagic)) {
        return BinaryPropertyList(bytes).unfoldsWithin(
            {.size = largestPropertyList, .levels = deepestPropertyList});
    }
    return MarkupWalk(bytes).isWithinLimits();
}

} // namespace qf::native
