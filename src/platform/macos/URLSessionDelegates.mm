#import "platform/macos/URLSessionDelegates.h"

#include <exception>

#import "platform/macos/URLSessionSettings.h"

using brindlewick::toException;
using brindlewick::toResponse;
using brindlewick::toURL;

namespace {

/// Does what a callback is for. No C++ exception may pass through the session's thread: the first one is kept for the
/// thread that waits, and the task is cancelled.
template <typename Action>
void guarded(NSURLSessionTask* task, std::exception_ptr& failure, Action action) noexcept {
  try {
    action();
  } catch (...) {
    if (!failure) failure = std::current_exception();
    [task cancel];
  }
}

}  // namespace

@implementation HTTPSOnlySessionDelegate {
  std::shared_ptr<brindlewick::HTTPSSessionDelegate> _rule;
}

- (instancetype)initWithRule:(std::shared_ptr<brindlewick::HTTPSSessionDelegate>)rule {
  if ((self = [super init])) _rule = std::move(rule);
  return self;
}

- (void)URLSession:(NSURLSession*)session
                          task:(NSURLSessionTask*)task
    willPerformHTTPRedirection:(NSHTTPURLResponse*)response
                    newRequest:(NSURLRequest*)request
             completionHandler:(void (^)(NSURLRequest*))completionHandler {
  NSURLRequest* answer = nil;
  std::exception_ptr failure;  // nobody waits for this delegate: the task ends as cancelled
  guarded(task, failure, [&] {
    if (_rule->followsRedirect(toURL(request))) answer = request;
  });
  completionHandler(answer);
}

@end

@implementation HTTPSBodyDelegate {
  brindlewick::URLSessionFetch* _fetch;
}

- (instancetype)initWithFetch:(brindlewick::URLSessionFetch*)fetch {
  if ((self = [super init])) _fetch = fetch;
  return self;
}

- (void)URLSession:(NSURLSession*)session
              dataTask:(NSURLSessionDataTask*)task
    didReceiveResponse:(NSURLResponse*)response
     completionHandler:(void (^)(NSURLSessionResponseDisposition))completionHandler {
  auto disposition = NSURLSessionResponseCancel;
  guarded(task, _fetch->failure, [&] {
    if (_fetch->body.wants(toResponse(response).expectedByteCount)) disposition = NSURLSessionResponseAllow;
  });
  completionHandler(disposition);
}

- (void)URLSession:(NSURLSession*)session dataTask:(NSURLSessionDataTask*)task didReceiveData:(NSData*)data {
  guarded(task, _fetch->failure, [&] {
    if (!_fetch->body.append({static_cast<const std::uint8_t*>(data.bytes), data.length})) [task cancel];
  });
}

- (void)URLSession:(NSURLSession*)session task:(NSURLSessionTask*)task didCompleteWithError:(NSError*)error {
  guarded(task, _fetch->failure, [&] {
    // A body that is too long was cancelled here, which is no failure of the transport.
    if (!_fetch->failure && !_fetch->body.exceededLimit()) _fetch->failure = toException(error, _fetch->subject);
  });
  _fetch->end.arrive(_fetch->failure);
}

@end

@implementation HTTPSCappedDownloadDelegate {
  brindlewick::URLSessionDownload* _download;
}

- (instancetype)initWithDownload:(brindlewick::URLSessionDownload*)download {
  if ((self = [super init])) _download = download;
  return self;
}

- (void)URLSession:(NSURLSession*)session
                          task:(NSURLSessionTask*)task
    willPerformHTTPRedirection:(NSHTTPURLResponse*)response
                    newRequest:(NSURLRequest*)request
             completionHandler:(void (^)(NSURLRequest*))completionHandler {
  NSURLRequest* answer = nil;
  guarded(task, _download->failure, [&] {
    if (_download->delegate.followsRedirect(toURL(request))) answer = request;
  });
  completionHandler(answer);
}

- (void)URLSession:(NSURLSession*)session
                 downloadTask:(NSURLSessionDownloadTask*)task
                 didWriteData:(int64_t)byteCount
            totalBytesWritten:(int64_t)totalByteCount
    totalBytesExpectedToWrite:(int64_t)expectedByteCount {
  guarded(task, _download->failure, [&] {
    if (!_download->delegate.didWrite(static_cast<std::uint64_t>(totalByteCount))) [task cancel];
  });
}

- (void)URLSession:(NSURLSession*)session
                 downloadTask:(NSURLSessionDownloadTask*)task
    didFinishDownloadingToURL:(NSURL*)location {
  // The session deletes the file as soon as this returns.
  guarded(task, _download->failure, [&] {
    _download->file.emplace(_download->files, brindlewick::Path(location.fileSystemRepresentation),
                            _download->destination);
  });
}

- (void)URLSession:(NSURLSession*)session task:(NSURLSessionTask*)task didCompleteWithError:(NSError*)error {
  guarded(task, _download->failure, [&] {
    if (!_download->failure) _download->failure = toException(error, _download->subject);
  });
  _download->end.arrive(_download->failure);
}

@end
