#pragma once

#include "app/cli/TextOutput.h"
#include "platform/SystemInformation.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// The machine that documents are written on.
class Information : public qf::SystemInformation {
    std::string globallyUniqueString() override { return {}; }
    std::string operatingSystemVersion() override { return {}; }
    std::string hostName() override { return "machine"; }
    long processorCount() override { return 1; }
    std::uint64_t physicalMemory() override { return 0; }
    std::optional<std::string> executablePath() override { return std::nullopt; }
    std::optional<std::string> bundleVersion() override { return "1.2.3"; }
};

/// Records what a person would read.
class KeptOutput : public cli::TextOutput {
public:
    std::string text;

    void paragraph(std::string_view words) override { line(words); }
    void line(std::string_view words) override { text.append(words) += '\n'; }
    void gap() override { text += '\n'; }
};
