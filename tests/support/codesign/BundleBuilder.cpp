#include "support/codesign/BundleBuilder.h"

#include <algorithm>
#include <filesystem>

#include "support/TemporaryFolder.h"
#include "support/codesign/ByteWriter.h"
#include "support/codesign/PropertyListText.h"

namespace brindlewick::testing {
namespace {

std::string hexadecimal(ByteView bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

Bytes copied(std::string_view text) { return {text.begin(), text.end()}; }

/// Writes one bundle: first everything that the seal lists, then the seal, last the executable that signs both.
class Writer {
 public:
  Writer(const Path& place, const BundleShape& shape, const TestPKI& pki)
      : place_(place), shape_(shape), pki_(pki), base_(baseOf(place, shape.layout)) {}

  WrittenBundle write() {
    std::filesystem::create_directories(base_.string());
    writeItems();
    writeNested();
    const Bytes information = writeInformation();
    const std::string seal = codeResources(shape_.seal, entries_);
    writeFile(base_ / "_CodeSignature" / "CodeResources", seal);
    signExecutable(information, copied(seal));
    if (shape_.layout == BundleLayout::versioned) writeVersionLinks();
    if (shape_.ticket)
      writeFile(base_ / "CodeResources", asText(stapledTicket(*shape_.ticket, result_.allEntries, pki_)));
    return result_;
  }

 private:
  void writeItems() {
    for (const auto& [path, item] : shape_.items) {
      if (const auto* link = std::get_if<LinkItem>(&item)) {
        std::filesystem::create_directories((base_ / path).parent().string());
        std::filesystem::create_symlink(link->target, (base_ / path).string());
        entries_[path] = linkSeal(link->target);
        continue;
      }
      const FileItem& file = std::get<FileItem>(item);
      writeFile(base_ / path, file.content, file.mode);
      if (isSealed(path)) entries_[path] = fileSeal(asBytes(file.content), hashTypes(), isOptional(path));
    }
  }

  void writeNested() {
    for (const auto& [path, item] : shape_.nested) {
      const TestPKI& pki = item.pki ? *item.pki : pki_;
      WrittenBundle written;
      std::string requirement;
      if (const auto* bundle = std::get_if<std::shared_ptr<BundleShape>>(&item.code)) {
        written = writeBundle(base_ / path, **bundle, pki);
        requirement = requirementOf((*bundle)->code, (*bundle)->identifier, (*bundle)->team, written.codeHashes);
      } else {
        const auto& file = std::get<CodeFileShape>(item.code);
        const SignedCode code = signedCode(file, {item.identifier, item.team, {}, pki});
        writeFile(base_ / path, asText(code.file), 0755);
        note(written, code, file);
        requirement = requirementOf(file, item.identifier, item.team, code.codeHashes);
      }
      entries_[path] = nestedSeal(written.codeHashes.front(), item.requirement.value_or(requirement));
      result_.allEntries.insert(result_.allEntries.end(), written.allEntries.begin(), written.allEntries.end());
    }
  }

  Bytes writeInformation() {
    const std::string text = plist::document(plist::dictionary({shape_.information.begin(), shape_.information.end()}));
    const Bytes bytes = shape_.hasBinaryInformation ? plist::binary(text) : copied(text);
    const bool inResources = shape_.layout == BundleLayout::versioned;
    writeFile((inResources ? base_ / "Resources" : base_) / "Info.plist", asText(bytes));
    if (inResources) entries_["Resources/Info.plist"] = fileSeal(bytes, hashTypes(), false);
    return bytes;
  }

  void signExecutable(const Bytes& information, const Bytes& seal) {
    const SignedCode code =
        signedCode(shape_.code, {shape_.identifier, shape_.team, {{1, information}, {3, seal}}, pki_});
    const bool inFolder = shape_.layout == BundleLayout::application;
    writeFile((inFolder ? base_ / "MacOS" : base_) / shape_.executable, asText(code.file), 0755);
    note(result_, code, shape_.code);
  }

  void writeVersionLinks() {
    std::filesystem::create_symlink("A", (place_ / "Versions/Current").string());
    for (const std::string& name : {shape_.executable, std::string("Resources")})
      std::filesystem::create_symlink("Versions/Current/" + name, (place_ / name).string());
  }

  static void note(WrittenBundle& written, const SignedCode& code, const CodeFileShape& shape) {
    written.codeHashes = code.codeHashes;
    for (std::size_t i = 0; i < code.codeHashes.size(); ++i) {
      std::uint8_t best = 1;
      for (const DirectoryShape& directory : shape.slices[i].signature.directories)
        best = std::max(best, directory.hashType);
      if (!code.codeHashes[i].empty()) written.allEntries.emplace_back(best, code.codeHashes[i]);
    }
  }

  static std::string requirementOf(const CodeFileShape& code, const std::string& identifier, const std::string& team,
                                   const std::vector<Bytes>& codeHashes) {
    const bool isNamed = code.slices.front().signature.kind == SignatureKind::certificate;
    return isNamed ? developerRequirement(identifier, team) : codeHashRequirement(codeHashes);
  }

  [[nodiscard]] std::vector<std::uint8_t> hashTypes() const {
    std::vector<std::uint8_t> types;
    for (const DirectoryShape& directory : shape_.code.slices.front().signature.directories)
      types.push_back(directory.hashType);
    std::sort(types.begin(), types.end());
    types.erase(std::unique(types.begin(), types.end()), types.end());
    return types;
  }

  static bool isSealed(const std::string& path) {
    return path != "PkgInfo" && !path.ends_with(".DS_Store") && !path.ends_with(".lproj/locversion.plist");
  }

  static bool isOptional(const std::string& path) {
    return path.starts_with("Resources/") && path.find(".lproj/") != std::string::npos &&
           !path.starts_with("Resources/Base.lproj/");
  }

  const Path& place_;
  const BundleShape& shape_;
  const TestPKI& pki_;
  Path base_;
  std::map<std::string, std::string> entries_;
  WrittenBundle result_;
};

}  // namespace

Path baseOf(const Path& place, BundleLayout layout) {
  if (layout == BundleLayout::application) return place / "Contents";
  return layout == BundleLayout::versioned ? place / "Versions" / "A" : place;
}

std::string developerRequirement(const std::string& identifier, const std::string& team) {
  return "identifier \"" + identifier +
         "\" and anchor apple generic and certificate 1[field.1.2.840.113635.100.6.2.6] /* exists */ and "
         "certificate leaf[field.1.2.840.113635.100.6.1.13] /* exists */ and certificate leaf[subject.OU] = " +
         team;
}

std::string codeHashRequirement(const std::vector<Bytes>& codeHashes) {
  std::string text;
  for (const Bytes& codeHash : codeHashes)
    text += (text.empty() ? "" : " or ") + ("cdhash H\"" + hexadecimal(codeHash)) + "\"";
  return text;
}

WrittenBundle writeBundle(const Path& place, const BundleShape& shape, const TestPKI& pki) {
  return Writer(place, shape, pki).write();
}

BundleShape BundleShape::application() {
  BundleShape shape;
  shape.information = {{"CFBundleIdentifier", plist::string(shape.identifier)},
                       {"CFBundleShortVersionString", plist::string("2.4.0")},
                       {"CFBundleVersion", plist::string("118")},
                       {"CFBundlePackageType", plist::string("APPL")},
                       {"CFBundleExecutable", plist::string(shape.executable)}};
  shape.items = {{"PkgInfo", FileItem{"APPL????"}},
                 {"Resources/icon.icns", FileItem{"icns, or so the name says"}},
                 {"Resources/words/list.txt", FileItem{"one\ntwo\n"}},
                 {"Resources/en.lproj/Localizable.strings", FileItem{"\"yes\" = \"yes\";\n"}},
                 {"Resources/Base.lproj/Main.nib", FileItem{"nib"}}};
  shape.ticket = TicketShape{};
  return shape;
}

BundleShape BundleShape::framework(const std::string& name, BundleLayout layout) {
  BundleShape shape;
  shape.layout = layout;
  shape.identifier = "com.brindlewick." + name;
  shape.executable = name;
  shape.information = {{"CFBundleIdentifier", plist::string(shape.identifier)},
                       {"CFBundlePackageType", plist::string("FMWK")},
                       {"CFBundleExecutable", plist::string(name)}};
  shape.code = CodeFileShape::universal(dynamicLibraryFile, 7);
  shape.items = {{"Resources/data.txt", FileItem{"data of " + name}}};
  if (layout == BundleLayout::flat) shape.seal.rules = flatRules();
  return shape;
}

NestedItem BundleShape::file(const std::string& identifier, std::uint32_t fileType, SignatureKind kind) {
  NestedItem item{CodeFileShape::universal(fileType, 9), identifier, "TEAM123456", std::nullopt, std::nullopt};
  for (SliceShape& slice : std::get<CodeFileShape>(item.code).slices) slice.signature.kind = kind;
  return item;
}

}  // namespace brindlewick::testing
