#pragma once

#include "platform/FileSystem.h"
#include "platform/HTTPSSession.h"

namespace brindlewick {

/// HTTPS on NSURLSession. The calling thread waits while the session's own thread reports; every decision is put to the
/// delegates of the seam. A download is taken over from the session before the session deletes it.
///
/// Below these sessions the system decides what it decides for every program: TLS versions and trust (App Transport
/// Security, the keychain) and the proxies of its settings.
class URLSessionHTTPSSessionFactory final : public HTTPSSessionFactory {
 public:
  explicit URLSessionHTTPSSessionFactory(FileSystem& files) : files_(files) {}

  [[nodiscard]] std::unique_ptr<HTTPSSession> makeSession(std::shared_ptr<HTTPSSessionDelegate> delegate,
                                                          const Path& destination) override;

 private:
  FileSystem& files_;
};

}  // namespace brindlewick
