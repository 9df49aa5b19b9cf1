#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "platform/linux/codesign/LinuxCodeSigning.h"
#include "support/TemporaryFolder.h"
#include "support/codesign/BundleBuilder.h"

namespace brindlewick::testing {

/// How far an application comes through the identity check: the first question that it fails.
enum class Verdict { accepted, invalid, withoutTeam, otherTeam, requirementUnmet, notAssessed };
std::ostream& operator<<(std::ostream& out, Verdict verdict);

/// One application that is judged: a good one, until a test changes its shape before it is signed, or what lies on
/// disk afterwards.
class SigningWorld {
 public:
  PKIShape certificates = PKIShape::developerID();
  BundleShape bundle = BundleShape::application();
  der::Time now = day(2026, 6, 1);

  // Shortcuts into the shape.
  SliceShape& slice(std::size_t n) { return bundle.code.slices.at(n); }
  void eachSlice(const std::function<void(SliceShape&)>& change);
  void eachDirectory(const std::function<void(DirectoryShape&)>& change);
  void eachMessage(const std::function<void(MessageShape&)>& change);
  /// Signs every slice with directories of these hash types, the base first.
  void useHashTypes(const std::vector<std::uint8_t>& hashTypes);
  void makeThin();

  /// What happens to the bundle after it was signed, in this order.
  void onDisk(std::function<void(const Path& application)> change) { changes_.push_back(std::move(change)); }
  /// The same for the bytes of a file below Contents; its permissions stay.
  void edit(const std::string& path, std::function<void(Bytes&)> change);
  void flip(const std::string& path, std::size_t offset);
  void flipText(const std::string& path, const std::string& text);
  /// A byte of the code of a slice, counted from the slice's start, and one of the blob in a slot of its signature.
  void flipCode(std::size_t slice, std::size_t offset = 0x5000);
  void flipBlob(std::size_t slice, std::uint32_t slot, std::size_t offset);
  void addFile(const std::string& path, const std::string& content = "new", unsigned mode = 0644);
  void addDirectory(const std::string& path);
  void addLink(const std::string& path, const std::string& target);
  void remove(const std::string& path);

  /// Writes the bundle and asks the questions of the identity check in their order.
  [[nodiscard]] Verdict judge();

  void write();
  [[nodiscard]] const Path& application() const noexcept { return application_; }
  [[nodiscard]] CodeSigningTrust trust() const;
  /// Who signed it and what, once it is written.
  [[nodiscard]] const TestPKI& pki() const { return pki_.value(); }
  [[nodiscard]] const std::vector<Bytes>& codeHashes() const noexcept { return codeHashes_; }
  /// The requirement of a Developer ID of this identifier and team.
  [[nodiscard]] static std::string requirementText(const std::string& identifier, const std::string& team);

 private:
  [[nodiscard]] Verdict ask() const;

  TemporaryFolder folder_;
  Path application_ = folder_ / "Brindlewick.app";
  std::optional<TestPKI> pki_;
  std::vector<Bytes> codeHashes_;
  std::vector<std::function<void(const Path&)>> changes_;
};

inline const std::string mainExecutable = "MacOS/Brindlewick";

}  // namespace brindlewick::testing
