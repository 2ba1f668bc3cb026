#pragma once

#include "platform/Digests.h"

namespace qf::native {

/// Digests by OpenSSL. An algorithm is looked up at its first use, once per process.
class Digests : public qf::Digests {
public:
    std::unique_ptr<DigestState> begin(DigestAlgorithm algorithm) override;
};

} // namespace qf::native
