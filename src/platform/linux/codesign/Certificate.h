#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Bytes.h"
#include "platform/Digest.h"

struct x509_st;  // OpenSSL's X509

namespace brindlewick::codesign {

/// One X.509 certificate (RFC 5280), with the questions that requirements and policies ask. Cheap to copy.
class Certificate {
 public:
  /// Takes its own reference.
  explicit Certificate(x509_st* certificate);

  /// The certificate in exactly these bytes (DER); absent when they are none, or when something follows it.
  [[nodiscard]] static std::optional<Certificate> fromDER(ByteView der);

  [[nodiscard]] x509_st* get() const noexcept { return certificate_.get(); }

  /// Whether there is an extension with this OID (dotted decimal), whatever its value and criticality. An OID that is
  /// none is one that no certificate has.
  [[nodiscard]] bool hasExtension(const std::string& oid) const;

  /// The values of a subject attribute in the subject's order, as UTF-8. `key` is one of C, CN, D, L, O, OU, ST,
  /// STREET, UID; another one has no values.
  [[nodiscard]] std::vector<std::string> subjectValues(std::string_view key) const;

  [[nodiscard]] std::array<std::uint8_t, 20> sha1() const;
  [[nodiscard]] SHA256Digest fingerprint() const;

 private:
  std::shared_ptr<x509_st> certificate_;
};

}  // namespace brindlewick::codesign
