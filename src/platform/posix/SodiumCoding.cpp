#include <sodium.h>

#include <algorithm>
#include <array>
#include <new>
#include <stdexcept>

#include "platform/AsciiText.h"
#include "platform/SecretBytes.h"
#include "platform/TextCoding.h"
#include "platform/posix/Sodium.h"

namespace brindlewick {
namespace {

bool isBase64Character(char c) { return isAsciiLetter(c) || isAsciiDigit(c) || c == '+' || c == '/' || c == '='; }

/// Decodes into `target`, which must hold 3 bytes for every 4 characters. Absent for anything but strict base64.
std::optional<std::size_t> decodeInto(std::span<std::uint8_t> target, std::string_view text) {
  // The library compares characters as signed numbers and so takes every byte from 0x80 on for a "/".
  if (!std::ranges::all_of(text, isBase64Character)) return std::nullopt;
  std::size_t byteCount = 0;
  const char* end = nullptr;
  if (sodium_base642bin(target.data(), target.size(), text.data(), text.size(), nullptr, &byteCount, &end,
                        sodium_base64_VARIANT_ORIGINAL) != 0 ||
      end != text.data() + text.size())
    return std::nullopt;
  return byteCount;
}

std::size_t decodedCapacity(std::string_view text) { return text.size() / 4 * 3 + 3; }

}  // namespace

void posix::readySodium() {
  if (sodium_init() < 0) throw std::runtime_error("libsodium cannot be initialised");
}

SecretBytes::SecretBytes(std::size_t byteCount) : bytes_(nullptr), byteCount_(byteCount) {
  posix::readySodium();
  bytes_ = static_cast<std::uint8_t*>(sodium_malloc(byteCount));
  if (bytes_ == nullptr) throw std::bad_alloc();
}

SecretBytes::~SecretBytes() { sodium_free(bytes_); }

std::string encodeBase64(ByteView bytes) {
  posix::readySodium();
  std::string text(sodium_base64_encoded_len(bytes.size(), sodium_base64_VARIANT_ORIGINAL), '\0');
  sodium_bin2base64(text.data(), text.size(), bytes.data(), bytes.size(), sodium_base64_VARIANT_ORIGINAL);
  text.pop_back();  // the terminating NUL
  return text;
}

std::optional<Bytes> decodeBase64(std::string_view text) {
  posix::readySodium();
  Bytes bytes(decodedCapacity(text));
  const auto byteCount = decodeInto(bytes, text);
  if (!byteCount) return std::nullopt;
  bytes.resize(*byteCount);
  return bytes;
}

std::optional<SecretBytes> decodeSecretBase64(std::string_view text) {
  SecretBytes roomy(decodedCapacity(text));
  const auto byteCount = decodeInto(roomy.writable(), text);
  if (!byteCount) return std::nullopt;
  SecretBytes exact(*byteCount);
  std::ranges::copy(roomy.view().first(*byteCount), exact.writable().begin());
  return exact;
}

std::string encodeHex(ByteView bytes) {
  std::string text(bytes.size() * 2 + 1, '\0');
  sodium_bin2hex(text.data(), text.size(), bytes.data(), bytes.size());
  text.pop_back();
  return text;
}

std::string randomUUID() {
  posix::readySodium();
  std::array<std::uint8_t, 16> random{};
  randombytes_buf(random.data(), random.size());
  random[6] = static_cast<std::uint8_t>((random[6] & 0x0F) | 0x40);  // version 4
  random[8] = static_cast<std::uint8_t>((random[8] & 0x3F) | 0x80);  // the RFC's variant
  std::string uuid;
  for (std::size_t i = 0; i < random.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) uuid += '-';
    constexpr std::string_view digits = "0123456789ABCDEF";
    uuid += digits[random[i] >> 4];
    uuid += digits[random[i] & 0x0F];
  }
  return uuid;
}

}  // namespace brindlewick
