#include <openssl/evp.h>

#include <stdexcept>

#include "digests/sha256.hpp"

namespace lumvex::app {

namespace {

void Require(int answer) {
    if (answer != 1) throw std::runtime_error("libcrypto offers no SHA-256");
}

}  // namespace

struct Sha256::State {
    std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context{EVP_MD_CTX_new(), EVP_MD_CTX_free};
};

Sha256::Sha256() : state_(std::make_unique<State>()) {
    Require(EVP_DigestInit_ex(state_->context.get(), EVP_sha256(), nullptr));
}

Sha256::~Sha256() = default;

void Sha256::Add(std::span<const std::byte> bytes) {
    Require(EVP_DigestUpdate(state_->context.get(), bytes.data(), bytes.size()));
}

std::string Sha256::Digest() {
    std::array<unsigned char, 32> digest{};
    Require(EVP_DigestFinal_ex(state_->context.get(), digest.data(), nullptr));
    return HexOf(digest);
}

}  // namespace lumvex::app
