// SHA-256 of data that comes in blocks.
#pragma once

#include <memory>
#include <span>
#include <string>

#include <openssl/evp.h>

class Sha256 {
public:
  Sha256();

  void update(std::span<const unsigned char> block);
  /// The checksum in hexadecimal digits. Ends the calculation.
  std::string hex();

private:
  struct Free {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
  };

  std::unique_ptr<EVP_MD_CTX, Free> m_context;
};
