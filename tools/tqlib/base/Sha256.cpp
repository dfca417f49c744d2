#include "base/Sha256.h"

#include "base/Errors.h"

namespace {

void require(int result) {
  if (result != 1) throw Failure("the checksum cannot be calculated");
}

}  // namespace

Sha256::Sha256() : m_context(EVP_MD_CTX_new()) {
  require(m_context ? EVP_DigestInit_ex(m_context.get(), EVP_sha256(), nullptr) : 0);
}

void Sha256::update(std::span<const unsigned char> block) {
  require(EVP_DigestUpdate(m_context.get(), block.data(), block.size()));
}

std::string Sha256::hex() {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  require(EVP_DigestFinal_ex(m_context.get(), digest, &length));
  std::string text;
  for (const unsigned char byte : std::span(digest, length)) {
    constexpr char kDigits[] = "0123456789abcdef";
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}
