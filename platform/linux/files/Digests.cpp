#include "platform/linux/files/Digests.h"

#include "platform/foundation/Exception.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <array>
#include <string>
#include <utility>

namespace qf::native {

namespace {

/// In the order of DigestAlgorithm.
constexpr std::array algorithmNames{"MD5", "SHA1", "SHA256", "SHA512"};

using Algorithms = std::array<const EVP_MD*, algorithmNames.size()>;

/// Returns null for an algorithm that this machine does not allow.
const EVP_MD* algorithmOf(DigestAlgorithm algorithm) {
    static const Algorithms fetched = [] {
        // Detached threads may compute digests while the process ends, so OpenSSL is not cleaned
        // up.
        ::OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
        Algorithms all{};
        for (std::size_t index = 0; index < all.size(); ++index) {
            all.at(index) = ::EVP_MD_fetch(nullptr, algorithmNames.at(index), nullptr);
        }
        return all;
    }();
    return fetched.at(static_cast<std::size_t>(algorithm));
}

void throwUnlessDone(int succeeded) {
    if (succeeded != 1) {
        throw Exception(exception_name::digestUnavailable, "the digest could not be made");
    }
}

class State : public DigestState {
public:
    explicit State(const EVP_MD* algorithm) {
        throwUnlessDone(::EVP_DigestInit_ex2(get(), algorithm, {}));
    }
    State(const State& other) : DigestState() {
        throwUnlessDone(::EVP_MD_CTX_copy_ex(get(), other.context_.get()));
    }
    ~State() override = default;
    State& operator=(const State&) = delete;
    State(State&&) = delete;
    State& operator=(State&&) = delete;

    std::unique_ptr<DigestState> copy() const override { return std::make_unique<State>(*this); }

    void update(std::span<const std::byte> bytes) override {
        throwUnlessDone(::EVP_DigestUpdate(get(), bytes.data(), bytes.size()));
    }

    std::vector<std::byte> finish() override {
        std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
        unsigned int length = 0;
        throwUnlessDone(::EVP_DigestFinal_ex(get(), digest.data(), &length));
        const auto bytes = std::as_bytes(std::span(digest).first(length));
        return {bytes.begin(), bytes.end()};
    }

private:
    struct Free {
        void operator()(EVP_MD_CTX* context) const { ::EVP_MD_CTX_free(context); }
    };

    EVP_MD_CTX* get() const {
        if (context_ == nullptr) {
            throw Exception(exception_name::outOfMemory, "no memory is left for a digest");
        }
        return context_.get();
    }

    std::unique_ptr<EVP_MD_CTX, Free> context_{::EVP_MD_CTX_new()};
};

} // namespace

std::unique_ptr<DigestState> Digests::begin(DigestAlgorithm algorithm) {
    const auto* const found = algorithmOf(algorithm);
    if (found == nullptr) {
        throw Exception(exception_name::digestUnavailable,
                        std::string("this machine does not allow ") +
                            algorithmNames.at(static_cast<std::size_t>(algorithm)));
    }
    return std::make_unique<State>(found);
}

} // namespace qf::native
