#pragma once

#include "platform/Windows.h"

#include <string>
#include <vector>

/// A label that remembers all its texts.
class ShownText : public qf::Label {
public:
    std::vector<std::string> texts;
    void setText(const std::string& text) override { texts.push_back(text); }
};
