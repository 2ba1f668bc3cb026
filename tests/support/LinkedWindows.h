#pragma once

#include "app/windows/WindowMain.h"
#include "platform/Modules.h"

#include <string>

/// The windows of a program that is linked with their code, instead of loading it as a module.
class LinkedWindows : public qf::Modules {
public:
    qf::Result<Function> function(const std::string& /*module*/) override {
        if (!missing.empty()) {
            return qf::Unexpected(qf::Error{.localizedDescription = missing});
        }
        return reinterpret_cast<Function>(&moduleMain);
    }

    /// Why they cannot be loaded, unless they can.
    std::string missing;
};
