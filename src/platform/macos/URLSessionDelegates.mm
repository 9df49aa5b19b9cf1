#import "platform/macos/URLSessionDelegates.h"

#include <exception>

#import "platform/macos/URLSessionSettings.h"

using brindlewick::toException;
using brindlewick::toResponse;
using brindlewick::toURL;

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
  completionHandler(_rule->followsRedirect(toURL(request)) ? request : nil);
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
  const bool isWanted = _fetch->body.wants(toResponse(response).expectedByteCount);
  completionHandler(isWanted ? NSURLSessionResponseAllow : NSURLSessionResponseCancel);
}

- (void)URLSession:(NSURLSession*)session dataTask:(NSURLSessionDataTask*)task didReceiveData:(NSData*)data {
  if (!_fetch->body.append({static_cast<const std::uint8_t*>(data.bytes), data.length})) [task cancel];
}

- (void)URLSession:(NSURLSession*)session task:(NSURLSessionTask*)task didCompleteWithError:(NSError*)error {
  // A body that is too long was cancelled here, which is no failure of the transport.
  _fetch->end.arrive(_fetch->body.exceededLimit() ? nullptr : toException(error, _fetch->subject));
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
  completionHandler(_download->delegate.followsRedirect(toURL(request)) ? request : nil);
}

- (void)URLSession:(NSURLSession*)session
                 downloadTask:(NSURLSessionDownloadTask*)task
                 didWriteData:(int64_t)byteCount
            totalBytesWritten:(int64_t)totalByteCount
    totalBytesExpectedToWrite:(int64_t)expectedByteCount {
  if (!_download->delegate.didWrite(static_cast<std::uint64_t>(totalByteCount))) [task cancel];
}

- (void)URLSession:(NSURLSession*)session
                 downloadTask:(NSURLSessionDownloadTask*)task
    didFinishDownloadingToURL:(NSURL*)location {
  // The session deletes the file as soon as this returns. No C++ exception may pass through its thread.
  try {
    _download->file.emplace(_download->files, brindlewick::Path(location.fileSystemRepresentation),
                            _download->destination);
  } catch (...) {
    _download->failure = std::current_exception();
  }
}

- (void)URLSession:(NSURLSession*)session task:(NSURLSessionTask*)task didCompleteWithError:(NSError*)error {
  _download->end.arrive(error == nil ? _download->failure : toException(error, _download->subject));
}

@end
