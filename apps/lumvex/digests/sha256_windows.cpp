#include <windows.h>
// After windows.h, which it needs.
#include <bcrypt.h>

#include <algorithm>
#include <stdexcept>

#include "digests/sha256.hpp"

namespace lumvex::app {

namespace {

void Require(NTSTATUS status) {
    if (status < 0) throw std::runtime_error("the system offers no SHA-256");
}

}  // namespace

struct Sha256::State {
    BCRYPT_ALG_HANDLE algorithm = nullptr;
    BCRYPT_HASH_HANDLE hash = nullptr;

    ~State() {
        if (hash) BCryptDestroyHash(hash);
        if (algorithm) BCryptCloseAlgorithmProvider(algorithm, 0);
    }
};

Sha256::Sha256() : state_(std::make_unique<State>()) {
    Require(BCryptOpenAlgorithmProvider(&state_->algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0));
    Require(BCryptCreateHash(state_->algorithm, &state_->hash, nullptr, 0, nullptr, 0, 0));
}

Sha256::~Sha256() = default;

void Sha256::Add(std::span<const std::byte> bytes) {
    constexpr std::size_t kMost = std::size_t{1} << 30;  // the system counts in 32 bits
    while (!bytes.empty()) {
        const auto part = bytes.first(std::min(bytes.size(), kMost));
        auto* const data = reinterpret_cast<unsigned char*>(const_cast<std::byte*>(part.data()));  // only read
        Require(BCryptHashData(state_->hash, data, static_cast<ULONG>(part.size()), 0));
        bytes = bytes.subspan(part.size());
    }
}

std::string Sha256::Digest() {
    std::array<unsigned char, 32> digest{};
    Require(BCryptFinishHash(state_->hash, digest.data(), static_cast<ULONG>(digest.size()), 0));
    return HexOf(digest);
}

}  // namespace lumvex::app
