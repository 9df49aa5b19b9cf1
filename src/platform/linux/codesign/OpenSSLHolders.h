#pragma once

#include <openssl/cms.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/ts.h>
#include <openssl/x509.h>

#include <memory>

/// Owners for what OpenSSL hands out, each freed by its own function.
namespace brindlewick::codesign {

template <auto release>
struct OpenSSLRelease {
  template <typename Object>
  void operator()(Object* object) const noexcept {
    release(object);
  }
};

template <typename Object, auto release>
using OpenSSLHolder = std::unique_ptr<Object, OpenSSLRelease<release>>;

using DigestHolder = OpenSSLHolder<EVP_MD, EVP_MD_free>;
using DigestContextHolder = OpenSSLHolder<EVP_MD_CTX, EVP_MD_CTX_free>;
using X509Holder = OpenSSLHolder<X509, X509_free>;
using ObjectHolder = OpenSSLHolder<ASN1_OBJECT, ASN1_OBJECT_free>;
using TimeHolder = OpenSSLHolder<ASN1_TIME, ASN1_TIME_free>;
using ContentInfoHolder = OpenSSLHolder<CMS_ContentInfo, CMS_ContentInfo_free>;
using TimestampInfoHolder = OpenSSLHolder<TS_TST_INFO, TS_TST_INFO_free>;
using VerificationHolder = OpenSSLHolder<X509_STORE_CTX, X509_STORE_CTX_free>;

/// A list that refers to certificates of others.
struct BorrowedListRelease {
  void operator()(STACK_OF(X509) * list) const noexcept { sk_X509_free(list); }
};
using BorrowedCertificates = std::unique_ptr<STACK_OF(X509), BorrowedListRelease>;

/// A list with a reference of its own to each certificate.
struct OwnedListRelease {
  void operator()(STACK_OF(X509) * list) const noexcept { sk_X509_pop_free(list, X509_free); }
};
using OwnedCertificates = std::unique_ptr<STACK_OF(X509), OwnedListRelease>;

/// Leaves the thread's error queue as it was found: an error that stays behind would be taken for the failure of some
/// later, unrelated call, such as one of a transfer.
class ErrorQueueScope {
 public:
  ErrorQueueScope() noexcept { ERR_set_mark(); }
  ~ErrorQueueScope() { ERR_pop_to_mark(); }
  ErrorQueueScope(const ErrorQueueScope&) = delete;
  ErrorQueueScope& operator=(const ErrorQueueScope&) = delete;
};

}  // namespace brindlewick::codesign
