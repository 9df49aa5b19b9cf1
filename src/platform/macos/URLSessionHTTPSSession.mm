#import "platform/macos/URLSessionHTTPSSession.h"

#include "platform/PlatformError.h"
#import "platform/macos/URLSessionDelegates.h"
#import "platform/macos/URLSessionSettings.h"
#include "platform/posix/Interruption.h"

namespace brindlewick {
namespace {

class URLSessionHTTPSSession final : public HTTPSSession {
 public:
  URLSessionHTTPSSession(FileSystem& files, std::shared_ptr<HTTPSSessionDelegate> delegate, Path destination)
      : files_(files), destination_(std::move(destination)) {
    @autoreleasepool {
      auto* const rule = [[HTTPSOnlySessionDelegate alloc] initWithRule:std::move(delegate)];
      session_ = [NSURLSession sessionWithConfiguration:urlSessionConfiguration() delegate:rule delegateQueue:nil];
    }
  }
  // The session holds its delegate until then.
  ~URLSessionHTTPSSession() override { [session_ invalidateAndCancel]; }
  URLSessionHTTPSSession(const URLSessionHTTPSSession&) = delete;
  URLSessionHTTPSSession& operator=(const URLSessionHTTPSSession&) = delete;

  [[nodiscard]] HTTPSDataResult data(const HTTPSRequest& request, std::size_t byteLimit) override {
    @autoreleasepool {
      URLSessionFetch fetch{.subject = request.url.string(), .body = LimitedBody(byteLimit)};
      auto* const task = [session_ dataTaskWithRequest:urlRequest(request)];
      task.delegate = [[HTTPSBodyDelegate alloc] initWithFetch:&fetch];
      run(task, fetch.end);
      return {.response = toResponse(task.response),
              .body = fetch.body.take(),
              .exceededByteLimit = fetch.body.exceededLimit()};
    }
  }

  [[nodiscard]] HTTPSDownloadResult download(const HTTPSRequest& request, std::uint64_t /*byteLimit*/,
                                             HTTPSDownloadDelegate& delegate) override {
    @autoreleasepool {
      URLSessionDownload download{
          .subject = request.url.string(), .files = files_, .destination = destination_, .delegate = delegate};
      // Without a completion handler: a task that has one reports no progress, and nothing would stop it at its cap.
      auto* const task = [session_ downloadTaskWithRequest:urlRequest(request)];
      task.delegate = [[HTTPSCappedDownloadDelegate alloc] initWithDownload:&download];
      run(task, download.end);
      if (!download.file)
        throw PlatformError("download", download.subject, std::make_error_code(std::errc::no_such_file_or_directory));
      return {.response = toResponse(task.response), .file = download.file->handOn()};
    }
  }

 private:
  /// Runs a task to its end, which the task's delegate reports.
  static void run(NSURLSessionTask* task, AwaitedEnd& end) {
    [task resume];
    end.wait([] { return interrupted(); }, [task] { [task cancel]; });
  }

  FileSystem& files_;
  Path destination_;
  NSURLSession* session_;
};

}  // namespace

std::unique_ptr<HTTPSSession> URLSessionHTTPSSessionFactory::makeSession(std::shared_ptr<HTTPSSessionDelegate> delegate,
                                                                         const Path& destination) {
  return std::make_unique<URLSessionHTTPSSession>(files_, std::move(delegate), destination);
}

}  // namespace brindlewick
