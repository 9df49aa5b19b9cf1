#pragma once

#include <optional>
#include <vector>

#include "platform/linux/codesign/ByteSource.h"
#include "platform/linux/codesign/CodeDirectory.h"
#include "platform/linux/codesign/MachO.h"
#include "platform/linux/codesign/SuperBlob.h"

namespace brindlewick::codesign {

/// The signature of one slice: its blobs and its CodeDirectories, which agree with each other. Keeps the bytes that
/// everything else points into.
class EmbeddedSignature {
 public:
  EmbeddedSignature(EmbeddedSignature&&) noexcept = default;
  EmbeddedSignature& operator=(EmbeddedSignature&&) noexcept = default;

  /// Reads what LC_CODE_SIGNATURE of the slice points to, at most 64 MiB. Throws Refusal.
  [[nodiscard]] static EmbeddedSignature read(ByteSource& file, const MachOSlice& slice);
  /// `bytes` is one SuperBlob and nothing else. Throws Refusal.
  [[nodiscard]] static EmbeddedSignature parse(Bytes bytes);

  /// The base, which the message signs, and then the alternates; no two of one hash type. They name one identifier,
  /// team, flags and limit.
  [[nodiscard]] const std::vector<CodeDirectory>& directories() const noexcept { return directories_; }
  /// The one with the strongest hash, which gives the code its hash.
  [[nodiscard]] const CodeDirectory& best() const;

  /// What a special slot of the directories hashes, for the slots that have a blob.
  [[nodiscard]] std::optional<ByteView> component(std::uint32_t slot) const;

  /// The CMS message; empty for ad-hoc code, and only for that.
  [[nodiscard]] ByteView message() const noexcept { return message_; }
  [[nodiscard]] bool isAdHoc() const noexcept { return message_.empty(); }

 private:
  EmbeddedSignature() = default;
  void readDirectories();
  void readMessage();

  Bytes bytes_;
  SuperBlob blobs_;
  std::vector<CodeDirectory> directories_;
  ByteView message_;
};

}  // namespace brindlewick::codesign
