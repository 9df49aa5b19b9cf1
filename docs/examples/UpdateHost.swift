// The application's side of the update helper: asks it, prepares and starts an installation, reads how it ended.
//
// For macOS 12 and newer. Every call blocks its thread: use a background queue, and make one call at a time.

import Foundation

/// The one line of JSON on the helper's standard output. A member without a value is not in the document.
struct HelperAnswer: Decodable {
  /// "upToDate", "incompatible" or "staged" from check-and-stage, "prepared" from prepare-install, "failed" from all.
  let outcome: String
  let message: String
  let version: String?
  let build: Int64?
  let stagedArtifactPath: String?
  let receiptPath: String?
  let preparationDirectoryPath: String?
}

/// last-install-result.json. The decoder's default form of a date, seconds since the start of 2001, is the file's form.
struct InstallResult: Decodable {
  let succeeded: Bool
  let message: String
  let completedAt: Date
}

/// A verified archive in its candidate directory.
struct StagedUpdate {
  let version: String
  let build: Int64
  let directory: String
}

/// A verified application in its preparation directory.
struct PreparedUpdate {
  let staged: StagedUpdate
  let directory: String
}

enum CheckResult {
  case upToDate(message: String)
  case incompatible(message: String)
  case staged(StagedUpdate)
}

/// A sentence for the user: the helper's, or one of this file's for a helper that gave none.
struct UpdateFailure: LocalizedError {
  let message: String
  var errorDescription: String? { message }
}

final class UpdateHost {
  private let feedURL: String
  private let publicKey: String
  private let identifier: String
  private let version: String
  private let build: String
  private let application: String
  private let stagingDirectory: String
  private let files = FileManager.default

  /// Fails for a bundle whose Info.plist lacks one of the three keys, and for a user without a Library.
  init?(feedURL: String, publicKey: String, bundle: Bundle = .main) {
    guard let identifier = bundle.bundleIdentifier,
      let version = bundle.object(forInfoDictionaryKey: "CFBundleShortVersionString") as? String,
      let build = bundle.object(forInfoDictionaryKey: "CFBundleVersion") as? String,
      let support = FileManager.default.urls(for: .applicationSupportDirectory, in: .userDomainMask).first
    else { return nil }
    self.feedURL = feedURL
    self.publicKey = publicKey
    self.identifier = identifier
    self.version = version
    self.build = build
    application = bundle.bundlePath
    stagingDirectory = support.appendingPathComponent(identifier).appendingPathComponent("Updates").path
  }

  // MARK: The three commands

  /// Downloads whenever there is something newer, so do not ask again while an update is staged.
  func check() throws -> CheckResult {
    let answer = try run(
      ["check-and-stage", "--feed-url", feedURL] + running + ["--staging-directory", stagingDirectory])
    switch (answer.outcome, answer.version, answer.build, answer.stagedArtifactPath) {
    case ("upToDate", _, _, _):
      return .upToDate(message: answer.message)
    case ("incompatible", _, _, _):
      return .incompatible(message: answer.message)
    case ("staged", let version?, let build?, let archive?):
      return .staged(StagedUpdate(version: version, build: build, directory: parent(of: archive)))
    default:
      throw UpdateFailure(message: "The update helper gave an unknown answer.")
    }
  }

  /// Expands and judges a staged update. The installed application is only read.
  func prepare(_ staged: StagedUpdate) throws -> PreparedUpdate {
    let answer = try run(
      ["prepare-install"] + running + ["--staged-directory", staged.directory, "--installed-app", application])
    guard answer.outcome == "prepared", let directory = answer.preparationDirectoryPath else {
      throw UpdateFailure(message: "The update helper gave an unknown answer.")
    }
    return PreparedUpdate(staged: staged, directory: directory)
  }

  /// Starts the installation. Call it when no document has unsaved changes. When it returns, end the application at
  /// once, with exit(0): the helper waits for that, but only 30 s. When it throws, nothing was installed: carry on.
  func startInstall(_ prepared: PreparedUpdate) throws {
    // A record that is found from here on is one of this installation.
    if files.fileExists(atPath: resultFile) { try files.removeItem(atPath: resultFile) }
    let output = Pipe()
    let helperProcess = try startInOwnSession(
      ["apply-install"] + running + [
        "--staged-directory", prepared.staged.directory, "--preparation-directory", prepared.directory,
        "--installed-app", application, "--parent-pid", String(getpid()), "--result-file", resultFile,
      ], output: output.fileHandleForWriting.fileDescriptor)
    try output.fileHandleForWriting.close()

    // What is wrong from the start is found while this application still runs, and is better shown than relaunched.
    let deadline = ProcessInfo.processInfo.systemUptime + 1
    while ProcessInfo.processInfo.systemUptime < deadline {
      var status: Int32 = 0
      if waitpid(helperProcess, &status, WNOHANG) == helperProcess {
        let line = output.fileHandleForReading.readDataToEndOfFile()
        let answer = try? JSONDecoder().decode(HelperAnswer.self, from: line)
        _ = takeInstallResult()
        throw UpdateFailure(message: answer?.message ?? "The update helper ended without an answer.")
      }
      usleep(50_000)
    }
    if let result = takeInstallResult() { throw UpdateFailure(message: result.message) }
  }

  // MARK: Before and after

  /// Why an installation cannot succeed here, or nil. The helper finds the same, but when the application has quit.
  func obstacle() -> String? {
    if application.contains("/AppTranslocation/") {
      return "Move the application to the Applications folder first, then start it from there."
    }
    guard files.isWritableFile(atPath: parent(of: application)), files.isWritableFile(atPath: application) else {
      return "You may not change the application here. Move it to the Applications folder of your home."
    }
    // One copy is expanded beside the archive and one beside the application; the old application goes last.
    let places = [nearestExisting(stagingDirectory), parent(of: application)]
    let needed = 2 * byteCount(of: application)
    guard places.allSatisfy({ freeByteCount(at: $0) >= needed }) else {
      return "There is not enough free disk space for the update."
    }
    return nil
  }

  /// How the last installation ended, once: call it when the application starts, and show the message.
  func takeInstallResult() -> InstallResult? {
    guard let content = files.contents(atPath: resultFile),
      let result = try? JSONDecoder().decode(InstallResult.self, from: content)
    else { return nil }
    try? files.removeItem(atPath: resultFile)
    return result
  }

  /// Removes candidate directories. Call it when no command runs.
  func pruneCandidates(keeping kept: StagedUpdate? = nil) {
    let form = "^.+-[0-9]+-[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$"
    let keptName = kept.map { ($0.directory as NSString).lastPathComponent }
    for name in names(in: stagingDirectory) where name != keptName {
      guard name.range(of: form, options: .regularExpression) != nil else { continue }
      try? files.removeItem(atPath: stagingDirectory + "/" + name)
    }
  }

  /// Removes what an interrupted installation left beside the application. Call it when the application starts: then
  /// the application is in its place, and nothing that this removes is needed to put it there.
  func removeLeftovers() {
    let folder = parent(of: application)
    for name in names(in: folder)
    where name.hasPrefix(".Brindlewick.incoming.") || name.hasPrefix(".Brindlewick.backup.") {
      guard name.hasSuffix(".app"), isOwnAndOld(folder + "/" + name) else { continue }
      try? files.removeItem(atPath: folder + "/" + name)
    }
  }

  // MARK: Details

  private var helper: String { application + "/Contents/Helpers/BrindlewickUpdater" }
  private var resultFile: String { stagingDirectory + "/last-install-result.json" }
  private var running: [String] {
    [
      "--public-key", publicKey, "--app-identifier", identifier, "--current-version", version, "--current-build", build,
    ]
  }

  private func run(_ arguments: [String]) throws -> HelperAnswer {
    let process = Process()
    let output = Pipe()
    process.executableURL = URL(fileURLWithPath: helper)
    process.arguments = arguments
    process.standardInput = FileHandle.nullDevice
    process.standardOutput = output
    process.standardError = FileHandle.nullDevice
    try process.run()
    let line = output.fileHandleForReading.readDataToEndOfFile()
    process.waitUntilExit()
    guard process.terminationReason == .exit, let answer = try? JSONDecoder().decode(HelperAnswer.self, from: line)
    else { throw UpdateFailure(message: "The update helper ended without an answer.") }
    guard process.terminationStatus == 0, answer.outcome != "failed" else {
      throw UpdateFailure(message: answer.message)
    }
    return answer
  }

  /// Starts the helper in a session of its own, with no descriptor of ours but the one for its output, so that nothing
  /// that ends this application reaches it. Process has no such setting.
  private func startInOwnSession(_ arguments: [String], output: Int32) throws -> pid_t {
    var attributes: posix_spawnattr_t?
    posix_spawnattr_init(&attributes)
    defer { posix_spawnattr_destroy(&attributes) }
    posix_spawnattr_setflags(&attributes, Int16(POSIX_SPAWN_SETSID | POSIX_SPAWN_CLOEXEC_DEFAULT))
    disclaimResponsibility(&attributes)

    var streams: posix_spawn_file_actions_t?
    posix_spawn_file_actions_init(&streams)
    defer { posix_spawn_file_actions_destroy(&streams) }
    posix_spawn_file_actions_addopen(&streams, STDIN_FILENO, "/dev/null", O_RDONLY, 0)
    posix_spawn_file_actions_adddup2(&streams, output, STDOUT_FILENO)
    posix_spawn_file_actions_addopen(&streams, STDERR_FILENO, "/dev/null", O_WRONLY, 0)

    let words: [UnsafeMutablePointer<CChar>?] = ([helper] + arguments).map { strdup($0) } + [nil]
    defer { words.forEach { free($0) } }
    let environment: [UnsafeMutablePointer<CChar>?] = [nil]
    var process: pid_t = 0
    let code = posix_spawn(&process, helper, &streams, &attributes, words, environment)
    guard code == 0 else { throw POSIXError(POSIXErrorCode(rawValue: code) ?? .EIO) }
    return process
  }

  /// Makes the started program responsible for itself: otherwise the system counts it as a part of this application, and
  /// may end it soon after. This is no public API, so it is looked up, and left out where it is missing.
  private func disclaimResponsibility(_ attributes: inout posix_spawnattr_t?) {
    typealias SetDisclaim = @convention(c) (UnsafeMutablePointer<posix_spawnattr_t?>, Int32) -> Int32
    let anywhere = UnsafeMutableRawPointer(bitPattern: -2)  // RTLD_DEFAULT, a macro that Swift does not import
    guard let symbol = dlsym(anywhere, "responsibility_spawnattrs_setdisclaim") else { return }
    _ = unsafeBitCast(symbol, to: SetDisclaim.self)(&attributes, 1)
  }

  /// Whether an item is this user's and an hour old: another user's installation may be running. The time is that of the
  /// last change of its attributes, since a copy has the other times of its original.
  private func isOwnAndOld(_ path: String) -> Bool {
    var status = stat()
    guard lstat(path, &status) == 0, status.st_uid == getuid() else { return false }
    return Date().timeIntervalSince1970 - Double(status.st_ctimespec.tv_sec) > 3600
  }

  private func parent(of path: String) -> String { (path as NSString).deletingLastPathComponent }

  private func names(in folder: String) -> [String] { (try? files.contentsOfDirectory(atPath: folder)) ?? [] }

  /// The nearest folder that exists: before the first check there is no staging directory yet.
  private func nearestExisting(_ folder: String) -> String {
    var existing = folder
    while existing != "/" && !files.fileExists(atPath: existing) { existing = parent(of: existing) }
    return existing
  }

  /// With what the system would clear for something important. A volume that does not know that (exFAT, some external
  /// ones) says 0.
  private func freeByteCount(at folder: String) -> Int64 {
    let keys: Set<URLResourceKey> = [.volumeAvailableCapacityForImportantUsageKey, .volumeAvailableCapacityKey]
    let values = try? URL(fileURLWithPath: folder).resourceValues(forKeys: keys)
    if let important = values?.volumeAvailableCapacityForImportantUsage, important > 0 { return important }
    return Int64(values?.volumeAvailableCapacity ?? 0)
  }

  private func byteCount(of bundle: String) -> Int64 {
    let key = URLResourceKey.totalFileAllocatedSizeKey
    let items = files.enumerator(at: URL(fileURLWithPath: bundle), includingPropertiesForKeys: [key])
    var sum: Int64 = 0
    while let item = items?.nextObject() as? URL {
      sum += Int64((try? item.resourceValues(forKeys: [key]))?.totalFileAllocatedSize ?? 0)
    }
    return sum
  }
}
