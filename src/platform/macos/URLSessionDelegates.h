#pragma once

#import <Foundation/Foundation.h>

#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "platform/HTTPSSession.h"
#include "platform/LimitedBody.h"
#include "platform/TakenFile.h"
#include "platform/posix/AwaitedEnd.h"

namespace brindlewick {

/// A body on its way into memory. The session's thread writes to it until the end has arrived, the waiting one reads it
/// afterwards.
struct URLSessionFetch {
  std::string subject;
  LimitedBody body;
  std::exception_ptr failure{};
  AwaitedEnd end{};
};

/// A body on its way into a file, likewise.
struct URLSessionDownload {
  std::string subject;
  FileSystem& files;
  const Path& destination;
  HTTPSDownloadDelegate& delegate;
  std::optional<TakenFile> file{};
  std::exception_ptr failure{};
  AwaitedEnd end{};
};

}  // namespace brindlewick

// What a delegate of the seam throws ends its task and leaves no callback of these.

/// The delegate of the whole session: puts every redirect to the seam's delegate, and nothing else.
@interface HTTPSOnlySessionDelegate : NSObject <NSURLSessionTaskDelegate>
- (instancetype)initWithRule:(std::shared_ptr<brindlewick::HTTPSSessionDelegate>)rule NS_DESIGNATED_INITIALIZER;
- (instancetype)init NS_UNAVAILABLE;
@end

/// The delegate of one fetch into memory. It leaves redirects to the session's.
@interface HTTPSBodyDelegate : NSObject <NSURLSessionDataDelegate>
- (instancetype)initWithFetch:(brindlewick::URLSessionFetch*)fetch NS_DESIGNATED_INITIALIZER;
- (instancetype)init NS_UNAVAILABLE;
@end

/// The delegate of one download: puts redirects and progress to the seam's delegate and takes the finished file.
@interface HTTPSCappedDownloadDelegate : NSObject <NSURLSessionDownloadDelegate>
- (instancetype)initWithDownload:(brindlewick::URLSessionDownload*)download NS_DESIGNATED_INITIALIZER;
- (instancetype)init NS_UNAVAILABLE;
@end
