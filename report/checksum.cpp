#include "report/checksum.h"

#include <openssl/evp.h>

#include <fstream>
#include <memory>
#include <vector>

namespace report {

std::string sha256(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
  if (!in || !context || EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) != 1) return {};
  std::vector<char> block(1 << 20);
  do {
    in.read(block.data(), static_cast<std::streamsize>(block.size()));
    EVP_DigestUpdate(context.get(), block.data(), static_cast<std::size_t>(in.gcount()));
  } while (in);
  if (!in.eof()) return {};
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_DigestFinal_ex(context.get(), digest, &length);
  std::string text;
  for (unsigned int i = 0; i < length; ++i) {
    text += "0123456789abcdef"[digest[i] >> 4];
    text += "0123456789abcdef"[digest[i] & 15];
  }
  return text;
}

}  // namespace report
