#pragma once

#include "platform/Inhibitors.h"

namespace qf::native {

/// The inhibitor locks of the system's login manager (org.freedesktop.login1.Manager, "Inhibit").
class Inhibitors : public qf::Inhibitors {
public:
    std::unique_ptr<Inhibition> inhibitShutdown(const std::string& who,
                                                const std::string& why) override;
};

} // namespace qf::native
