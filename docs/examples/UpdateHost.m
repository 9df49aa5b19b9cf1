// The application's side of the update helper: asks it, prepares and starts an installation, reads how it ended.
//
// For macOS 12 and newer, with ARC. Every call blocks its thread: use a background queue, and make one call at a time.

#import <Foundation/Foundation.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

NS_ASSUME_NONNULL_BEGIN

/// The domain of errors whose localized description is a sentence for the user.
static NSErrorDomain const UpdateHostErrorDomain = @"UpdateHostErrorDomain";

@interface UpdateHost : NSObject

/// Absent for a bundle whose Info.plist lacks the identifier, the version or the build.
- (nullable instancetype)initWithFeedURL:(NSString*)feedURL publicKey:(NSString*)publicKey;
- (instancetype)init NS_UNAVAILABLE;

/// Why an installation cannot succeed here, or nil. The helper finds the same, but when the application has quit.
- (nullable NSString*)obstacle;

/// The helper's answer: its "outcome" is "upToDate", "incompatible" or "staged". Downloads whenever there is something
/// newer, so do not ask again while an update is staged.
- (nullable NSDictionary<NSString*, id>*)checkWithError:(NSError**)error;

/// The directory of a staged update, from the answer of a check; nil when nothing was staged.
+ (nullable NSString*)stagedDirectoryOfAnswer:(NSDictionary<NSString*, id>*)answer;

/// Expands and judges a staged update; answers its preparation directory. The installed application is only read.
- (nullable NSString*)prepareStagedDirectory:(NSString*)stagedDirectory error:(NSError**)error;

/// Starts the installation. Call it when no document has unsaved changes. When it answers YES, end the application at
/// once, with exit(0): the helper waits for that, but only 30 s. After NO nothing was installed: carry on.
- (BOOL)startInstallOfPreparationDirectory:(NSString*)preparationDirectory error:(NSError**)error;

/// How the last installation ended, once: "succeeded" (boolean), "message" (string) and "completedAt" (number: seconds
/// since the start of 2001, for initWithTimeIntervalSinceReferenceDate:). Call it when the application starts.
- (nullable NSDictionary<NSString*, id>*)takeInstallResult;

/// Removes candidate directories except one. Call it when no command runs.
- (void)pruneCandidatesKeeping:(nullable NSString*)stagedDirectory;

/// Removes what an interrupted installation left beside the application. Call it when the application starts: then the
/// application is in its place, and nothing that this removes is needed to put it there.
- (void)removeLeftovers;

@end

NS_ASSUME_NONNULL_END

/// Makes the program that is started with these attributes responsible for itself: otherwise the system counts it as a
/// part of this application, and may end it soon after. This is no public API, so it is looked up, and left out where
/// it is missing.
static void disclaimResponsibility(posix_spawnattr_t* attributes) {
  int (*setDisclaim)(posix_spawnattr_t*, int) =
      (int (*)(posix_spawnattr_t*, int))dlsym(RTLD_DEFAULT, "responsibility_spawnattrs_setdisclaim");
  if (setDisclaim) setDisclaim(attributes, 1);
}

@implementation UpdateHost {
  NSString* _feedURL;
  NSArray<NSString*>* _running;
  NSString* _application;
  NSString* _stagingDirectory;
  NSFileManager* _files;
}

- (instancetype)initWithFeedURL:(NSString*)feedURL publicKey:(NSString*)publicKey {
  self = [super init];
  if (!self) return nil;
  NSBundle* bundle = NSBundle.mainBundle;
  NSString* identifier = bundle.bundleIdentifier;
  NSString* version = [bundle objectForInfoDictionaryKey:@"CFBundleShortVersionString"];
  NSString* build = [bundle objectForInfoDictionaryKey:@"CFBundleVersion"];
  NSString* support =
      NSSearchPathForDirectoriesInDomains(NSApplicationSupportDirectory, NSUserDomainMask, YES).firstObject;
  if (!identifier || !version || !build || !support) return nil;
  _feedURL = [feedURL copy];
  _running = @[
    @"--public-key", publicKey, @"--app-identifier", identifier, @"--current-version", version, @"--current-build",
    build
  ];
  _application = bundle.bundlePath;
  _stagingDirectory = [[support stringByAppendingPathComponent:identifier] stringByAppendingPathComponent:@"Updates"];
  _files = NSFileManager.defaultManager;
  return self;
}

#pragma mark - The three commands

- (NSDictionary<NSString*, id>*)checkWithError:(NSError**)error {
  NSMutableArray<NSString*>* arguments = [@[ @"check-and-stage", @"--feed-url", _feedURL ] mutableCopy];
  [arguments addObjectsFromArray:_running];
  [arguments addObjectsFromArray:@[ @"--staging-directory", _stagingDirectory ]];
  NSDictionary* answer = [self run:arguments error:error];
  if (!answer) return nil;
  NSString* outcome = answer[@"outcome"];
  BOOL isStaged = [outcome isEqual:@"staged"] && [answer[@"stagedArtifactPath"] isKindOfClass:NSString.class];
  if (isStaged || [outcome isEqual:@"upToDate"] || [outcome isEqual:@"incompatible"]) return answer;
  [self fail:@"The update helper gave an unknown answer." error:error];
  return nil;
}

+ (NSString*)stagedDirectoryOfAnswer:(NSDictionary<NSString*, id>*)answer {
  return [answer[@"stagedArtifactPath"] stringByDeletingLastPathComponent];
}

- (NSString*)prepareStagedDirectory:(NSString*)stagedDirectory error:(NSError**)error {
  NSMutableArray<NSString*>* arguments = [@[ @"prepare-install" ] mutableCopy];
  [arguments addObjectsFromArray:_running];
  [arguments addObjectsFromArray:@[ @"--staged-directory", stagedDirectory, @"--installed-app", _application ]];
  NSDictionary* answer = [self run:arguments error:error];
  if (!answer) return nil;
  NSString* directory = answer[@"preparationDirectoryPath"];
  if ([answer[@"outcome"] isEqual:@"prepared"] && [directory isKindOfClass:NSString.class]) return directory;
  [self fail:@"The update helper gave an unknown answer." error:error];
  return nil;
}

- (BOOL)startInstallOfPreparationDirectory:(NSString*)preparationDirectory error:(NSError**)error {
  // A record that is found from here on is one of this installation.
  if ([_files fileExistsAtPath:self.resultFile] && ![_files removeItemAtPath:self.resultFile error:error]) return NO;
  NSMutableArray<NSString*>* arguments = [@[ @"apply-install" ] mutableCopy];
  [arguments addObjectsFromArray:_running];
  [arguments addObjectsFromArray:@[
    @"--staged-directory", preparationDirectory.stringByDeletingLastPathComponent, @"--preparation-directory",
    preparationDirectory, @"--installed-app", _application, @"--parent-pid",
    [NSString stringWithFormat:@"%d", getpid()], @"--result-file", self.resultFile
  ]];
  NSPipe* output = [NSPipe pipe];
  pid_t process = [self startInOwnSession:arguments output:output.fileHandleForWriting.fileDescriptor error:error];
  if (process < 0) return NO;
  [output.fileHandleForWriting closeFile];

  // What is wrong from the start is found while this application still runs, and is better shown than relaunched.
  NSTimeInterval deadline = NSProcessInfo.processInfo.systemUptime + 1;
  while (NSProcessInfo.processInfo.systemUptime < deadline) {
    int status = 0;
    if (waitpid(process, &status, WNOHANG) == process) {
      NSDictionary* answer = [self dictionaryFrom:[output.fileHandleForReading readDataToEndOfFile]];
      [self takeInstallResult];
      return [self fail:answer[@"message"] ?: @"The update helper ended without an answer." error:error];
    }
    usleep(50000);
  }
  NSDictionary* result = [self takeInstallResult];
  return result ? [self fail:result[@"message"] error:error] : YES;
}

#pragma mark - Before and after

- (NSString*)obstacle {
  if ([_application containsString:@"/AppTranslocation/"])
    return @"Move the application to the Applications folder first, then start it from there.";
  NSString* folder = _application.stringByDeletingLastPathComponent;
  if (![_files isWritableFileAtPath:folder] || ![_files isWritableFileAtPath:_application])
    return @"You may not change the application here. Move it to the Applications folder of your home.";
  // One copy is expanded beside the archive and one beside the application; the old application goes last.
  unsigned long long needed = 2 * [self byteCountOf:_application];
  for (NSString* place in @[ [self nearestExisting:_stagingDirectory], folder ])
    if ([self freeByteCountAt:place] < needed) return @"There is not enough free disk space for the update.";
  return nil;
}

- (NSDictionary<NSString*, id>*)takeInstallResult {
  NSDictionary* result = [self dictionaryFrom:[_files contentsAtPath:self.resultFile]];
  BOOL isResult = [result[@"succeeded"] isKindOfClass:NSNumber.class] &&
                  [result[@"message"] isKindOfClass:NSString.class] &&
                  [result[@"completedAt"] isKindOfClass:NSNumber.class];
  if (!isResult) return nil;
  [_files removeItemAtPath:self.resultFile error:nil];
  return result;
}

- (void)pruneCandidatesKeeping:(NSString*)stagedDirectory {
  NSString* form = @"^.+-[0-9]+-[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$";
  for (NSString* name in [_files contentsOfDirectoryAtPath:_stagingDirectory error:nil]) {
    if ([name isEqual:stagedDirectory.lastPathComponent]) continue;
    if ([name rangeOfString:form options:NSRegularExpressionSearch].location == NSNotFound) continue;
    [_files removeItemAtPath:[_stagingDirectory stringByAppendingPathComponent:name] error:nil];
  }
}

- (void)removeLeftovers {
  NSString* folder = _application.stringByDeletingLastPathComponent;
  for (NSString* name in [_files contentsOfDirectoryAtPath:folder error:nil]) {
    BOOL isOurs = [name hasPrefix:@".Brindlewick.incoming."] || [name hasPrefix:@".Brindlewick.backup."];
    NSString* item = [folder stringByAppendingPathComponent:name];
    if (isOurs && [name hasSuffix:@".app"] && [self isOwnAndOld:item]) [_files removeItemAtPath:item error:nil];
  }
}

#pragma mark - Details

- (NSString*)helper {
  return [_application stringByAppendingPathComponent:@"Contents/Helpers/BrindlewickUpdater"];
}

- (NSString*)resultFile {
  return [_stagingDirectory stringByAppendingPathComponent:@"last-install-result.json"];
}

- (BOOL)fail:(NSString*)message error:(NSError**)error {
  if (error)
    *error = [NSError errorWithDomain:UpdateHostErrorDomain code:1 userInfo:@{NSLocalizedDescriptionKey : message}];
  return NO;
}

- (NSDictionary<NSString*, id>*)dictionaryFrom:(NSData*)json {
  id value = json.length > 0 ? [NSJSONSerialization JSONObjectWithData:json options:0 error:nil] : nil;
  return [value isKindOfClass:NSDictionary.class] ? value : nil;
}

- (NSDictionary<NSString*, id>*)run:(NSArray<NSString*>*)arguments error:(NSError**)error {
  NSTask* task = [[NSTask alloc] init];
  NSPipe* output = [NSPipe pipe];
  task.executableURL = [NSURL fileURLWithPath:self.helper];
  task.arguments = arguments;
  task.standardInput = NSFileHandle.fileHandleWithNullDevice;
  task.standardOutput = output;
  task.standardError = NSFileHandle.fileHandleWithNullDevice;
  if (![task launchAndReturnError:error]) return nil;
  NSDictionary* answer = [self dictionaryFrom:[output.fileHandleForReading readDataToEndOfFile]];
  [task waitUntilExit];
  NSString* message = answer[@"message"];
  if (task.terminationReason != NSTaskTerminationReasonExit || ![message isKindOfClass:NSString.class]) {
    [self fail:@"The update helper ended without an answer." error:error];
    return nil;
  }
  if (task.terminationStatus != 0 || [answer[@"outcome"] isEqual:@"failed"]) {
    [self fail:message error:error];
    return nil;
  }
  return answer;
}

/// Starts the helper in a session of its own, with no descriptor of ours but the one for its output, so that nothing
/// that ends this application reaches it. NSTask has no such setting. Answers the process, or -1.
- (pid_t)startInOwnSession:(NSArray<NSString*>*)arguments output:(int)output error:(NSError**)error {
  NSArray<NSString*>* strings = [@[ self.helper ] arrayByAddingObjectsFromArray:arguments];
  NSMutableData* words = [NSMutableData dataWithLength:(strings.count + 1) * sizeof(char*)];
  char** vector = words.mutableBytes;
  for (NSUInteger i = 0; i < strings.count; ++i) vector[i] = strdup(strings[i].UTF8String);
  char* const environment[] = {NULL};

  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_CLOEXEC_DEFAULT);
  disclaimResponsibility(&attributes);
  posix_spawn_file_actions_t streams;
  posix_spawn_file_actions_init(&streams);
  posix_spawn_file_actions_addopen(&streams, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&streams, output, STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&streams, STDERR_FILENO, "/dev/null", O_WRONLY, 0);

  pid_t process = -1;
  int code = posix_spawn(&process, vector[0], &streams, &attributes, vector, environment);
  posix_spawn_file_actions_destroy(&streams);
  posix_spawnattr_destroy(&attributes);
  for (NSUInteger i = 0; i < strings.count; ++i) free(vector[i]);
  if (code == 0) return process;
  if (error) *error = [NSError errorWithDomain:NSPOSIXErrorDomain code:code userInfo:nil];
  return -1;
}

/// Whether an item is this user's and an hour old: another user's installation may be running. The time is that of the
/// last change of its attributes, since a copy has the other times of its original.
- (BOOL)isOwnAndOld:(NSString*)item {
  struct stat status;
  if (lstat(item.fileSystemRepresentation, &status) != 0 || status.st_uid != getuid()) return NO;
  return time(NULL) - status.st_ctimespec.tv_sec > 3600;
}

/// Before the first check there is no staging directory yet.
- (NSString*)nearestExisting:(NSString*)folder {
  while (![folder isEqual:@"/"] && ![_files fileExistsAtPath:folder]) folder = folder.stringByDeletingLastPathComponent;
  return folder;
}

/// With what the system would clear for something important. A volume that does not know that (exFAT, some external
/// ones) says 0.
- (unsigned long long)freeByteCountAt:(NSString*)folder {
  NSURL* url = [NSURL fileURLWithPath:folder];
  for (NSURLResourceKey key in @[ NSURLVolumeAvailableCapacityForImportantUsageKey, NSURLVolumeAvailableCapacityKey ]) {
    NSNumber* free = nil;
    if ([url getResourceValue:&free forKey:key error:nil] && free.longLongValue > 0) return free.unsignedLongLongValue;
  }
  return 0;
}

- (unsigned long long)byteCountOf:(NSString*)bundle {
  NSDirectoryEnumerator<NSURL*>* items = [_files enumeratorAtURL:[NSURL fileURLWithPath:bundle]
                                      includingPropertiesForKeys:@[ NSURLTotalFileAllocatedSizeKey ]
                                                         options:0
                                                    errorHandler:nil];
  unsigned long long sum = 0;
  for (NSURL* item in items) {
    NSNumber* size = nil;
    [item getResourceValue:&size forKey:NSURLTotalFileAllocatedSizeKey error:nil];
    sum += size.unsignedLongLongValue;
  }
  return sum;
}

@end
