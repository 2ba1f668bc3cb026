#pragma once

#include <cstring>
#include <string>

namespace qf::native {

/// A password that is wiped from memory when it is replaced and at the end.
class Secret {
public:
    Secret() = default;
    ~Secret() { wipe(text_); }
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;
    Secret(Secret&&) = delete;
    Secret& operator=(Secret&&) = delete;

    /// Takes the text over and wipes it where it was: a short one would stay there when moved.
    void replace(std::string& text) {
        wipe(text_);
        text_ = text;
        wipe(text);
    }
    const std::string& text() const { return text_; }

private:
    static void wipe(std::string& text) { ::explicit_bzero(text.data(), text.size()); }

    std::string text_;
};

} // namespace qf::native
