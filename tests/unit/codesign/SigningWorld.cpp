#include "unit/codesign/SigningWorld.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include "platform/CodeSigning.h"
#include "platform/linux/codesign/Assessment.h"
#include "support/codesign/ByteWriter.h"

namespace brindlewick::testing {
namespace {

SHA256Digest fingerprint(const Identity& identity) {
  const Bytes digest = digestOf(identity.certificate, "sha256");
  SHA256Digest result{};
  std::copy(digest.begin(), digest.end(), result.begin());
  return result;
}

std::size_t blobOffset(const Bytes& file, std::size_t begin, std::uint32_t slot) {
  const std::size_t signature =
      begin + signatureOffset(Bytes(file.begin() + static_cast<std::ptrdiff_t>(begin), file.end()));
  for (std::size_t i = 0; i < big32At(file, signature + 8); ++i)
    if (big32At(file, signature + 12 + 8 * i) == slot) return signature + big32At(file, signature + 16 + 8 * i);
  throw std::out_of_range("no such slot");
}

bool isUniversal(const Bytes& file) { return big32At(file, 0) == 0xcafebabe; }

}  // namespace

std::ostream& operator<<(std::ostream& out, Verdict verdict) {
  constexpr std::array<const char*, 6> names = {"accepted",  "invalid",          "withoutTeam",
                                                "otherTeam", "requirementUnmet", "notAssessed"};
  return out << names.at(static_cast<std::size_t>(verdict));
}

void SigningWorld::eachSlice(const std::function<void(SliceShape&)>& change) {
  std::for_each(bundle.code.slices.begin(), bundle.code.slices.end(), change);
}

void SigningWorld::eachDirectory(const std::function<void(DirectoryShape&)>& change) {
  eachSlice([&](SliceShape& slice) {
    std::for_each(slice.signature.directories.begin(), slice.signature.directories.end(), change);
  });
}

void SigningWorld::eachMessage(const std::function<void(MessageShape&)>& change) {
  eachSlice([&](SliceShape& slice) { change(slice.signature.message); });
}

void SigningWorld::useHashTypes(const std::vector<std::uint8_t>& hashTypes) {
  eachSlice([&](SliceShape& slice) {
    slice.signature.directories.clear();
    for (const std::uint8_t hashType : hashTypes) {
      DirectoryShape directory;
      directory.hashType = hashType;
      slice.signature.directories.push_back(directory);
    }
  });
}

void SigningWorld::makeThin() { bundle.code.slices.erase(bundle.code.slices.begin()); }

void SigningWorld::edit(const std::string& path, std::function<void(Bytes&)> change) {
  onDisk([path, change = std::move(change)](const Path& application) {
    const Path file = application / "Contents" / path;
    const std::string content = readFile(file);
    Bytes bytes(content.begin(), content.end());
    change(bytes);
    writeFile(file, asText(bytes), permissionsOf(file));
  });
}

void SigningWorld::flip(const std::string& path, std::size_t offset) {
  edit(path, [offset](Bytes& bytes) { bytes.at(offset) ^= 1; });
}

void SigningWorld::flipText(const std::string& path, const std::string& text) {
  edit(path, [text](Bytes& bytes) { bytes.at(positionOf(bytes, asBytes(text))) ^= 1; });
}

void SigningWorld::flipCode(std::size_t slice, std::size_t offset) {
  edit(mainExecutable,
       [=](Bytes& bytes) { bytes.at((isUniversal(bytes) ? sliceOffset(bytes, slice) : 0) + offset) ^= 1; });
}

void SigningWorld::flipBlob(std::size_t slice, std::uint32_t slot, std::size_t offset) {
  edit(mainExecutable, [=](Bytes& bytes) {
    bytes.at(blobOffset(bytes, isUniversal(bytes) ? sliceOffset(bytes, slice) : 0, slot) + offset) ^= 1;
  });
}

void SigningWorld::addFile(const std::string& path, const std::string& content, unsigned mode) {
  onDisk([=](const Path& application) { writeFile(application / path, content, mode); });
}

void SigningWorld::addDirectory(const std::string& path) {
  onDisk([=](const Path& application) { std::filesystem::create_directories((application / path).string()); });
}

void SigningWorld::addLink(const std::string& path, const std::string& target) {
  onDisk([=](const Path& application) { std::filesystem::create_symlink(target, (application / path).string()); });
}

void SigningWorld::remove(const std::string& path) {
  onDisk([=](const Path& application) {
    if (std::filesystem::remove_all((application / path).string()) == 0) throw std::runtime_error("not there: " + path);
  });
}

std::string SigningWorld::requirementText(const std::string& identifier, const std::string& team) {
  return "anchor apple generic and identifier \"" + identifier +
         "\" and certificate 1[field.1.2.840.113635.100.6.2.6] exists and certificate "
         "leaf[field.1.2.840.113635.100.6.1.13] exists and certificate leaf[subject.OU] = \"" +
         team + "\"";
}

void SigningWorld::write() {
  pki_ = TestPKI::issued(certificates);
  codeHashes_ = writeBundle(application_, bundle, *pki_).codeHashes;
  for (const auto& change : changes_) change(application_);
}

CodeSigningTrust SigningWorld::trust() const {
  return {{fingerprint(pki_->root), fingerprint(pki_->ticketRoot)},
          [now = now] { return now; },
          {pki_->ticketRoot.certificate}};
}

Verdict SigningWorld::ask() const {
  const auto signing = makeLinuxCodeSigning(trust());
  const auto code = signing->staticCode(application_);
  if (code == nullptr || !code->isValid()) return Verdict::invalid;
  const auto team = code->teamIdentifier();
  if (!team || team->empty()) return Verdict::withoutTeam;
  if (*team != "TEAM123456") return Verdict::otherTeam;
  const auto requirement = signing->requirement(requirementText("com.brindlewick.app", *team));
  if (requirement == nullptr || !code->satisfies(*requirement)) return Verdict::requirementUnmet;
  return assess(application_, trust()).accepted ? Verdict::accepted : Verdict::notAssessed;
}

Verdict SigningWorld::judge() {
  write();
  const Verdict verdict = ask();
  if (verdict == Verdict::invalid && assess(application_, trust()).accepted)
    throw std::logic_error("an assessment accepts what is not valid");
  return verdict;
}

}  // namespace brindlewick::testing
