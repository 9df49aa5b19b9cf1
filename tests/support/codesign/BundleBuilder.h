#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/Path.h"
#include "support/codesign/MachOBuilder.h"
#include "support/codesign/SealedResources.h"
#include "support/codesign/StapledTicket.h"

namespace brindlewick::testing {

struct FileItem {
  std::string content;
  unsigned mode = 0644;
};

struct LinkItem {
  std::string target;
};

struct BundleShape;

/// Code with a signature of its own inside a bundle: a Mach-O file or a bundle.
struct NestedItem {
  std::variant<CodeFileShape, std::shared_ptr<BundleShape>> code;
  std::string identifier, team;            ///< of a single file
  std::optional<TestPKI> pki;              ///< another signer's
  std::optional<std::string> requirement;  ///< absent: the one Apple's tools write for this kind of signature
};

/// Where the parts of a bundle lie.
enum class BundleLayout {
  application,  ///< everything in Contents, the executable in Contents/MacOS
  versioned,    ///< a framework: Versions/A with the links around it
  flat          ///< everything directly in the bundle
};

/// A signed bundle, as it will be written. Paths of items are relative to the base of its layout.
struct BundleShape {
  BundleLayout layout = BundleLayout::application;
  std::string identifier = "com.brindlewick.app";
  std::string team = "TEAM123456";
  std::string executable = "Brindlewick";
  std::map<std::string, std::string> information;  ///< Info.plist: key and XML element
  bool hasBinaryInformation = false;
  CodeFileShape code = CodeFileShape::universal();
  std::map<std::string, std::variant<FileItem, LinkItem>> items;
  std::map<std::string, NestedItem> nested;
  SealShape seal;
  std::optional<TicketShape> ticket;

  /// An application with resources of every kind, localised ones included, and a good ticket.
  [[nodiscard]] static BundleShape application();
  /// A framework named `name`, with one resource.
  [[nodiscard]] static BundleShape framework(const std::string& name, BundleLayout layout);
  /// A signed file to nest.
  [[nodiscard]] static NestedItem file(const std::string& identifier, std::uint32_t fileType, SignatureKind kind);
};

/// What has been signed: the code hashes of the bundle's executable and of everything nested in it, by architecture.
struct WrittenBundle {
  std::vector<Bytes> codeHashes;
  std::vector<TicketEntry> allEntries;
};

/// Signs and writes the bundle to `place`, a directory that must not exist yet.
WrittenBundle writeBundle(const Path& place, const BundleShape& shape, const TestPKI& pki);

/// The directory to which the paths of a bundle's seal are relative.
[[nodiscard]] Path baseOf(const Path& place, BundleLayout layout);
/// The requirement that Apple's tools write for code of a Developer ID, and for code that is named by its hashes.
[[nodiscard]] std::string developerRequirement(const std::string& identifier, const std::string& team);
[[nodiscard]] std::string codeHashRequirement(const std::vector<Bytes>& codeHashes);

}  // namespace brindlewick::testing
