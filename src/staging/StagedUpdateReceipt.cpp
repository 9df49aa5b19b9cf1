#include "staging/StagedUpdateReceipt.h"

#include "trust/CanonicalJSON.h"
#include "trust/JSONObject.h"

namespace brindlewick {

std::optional<Bytes> StagedUpdateReceipt::encode() const {
  return CanonicalJSON::encode({{"schemaVersion", schemaVersion},
                                {"version", version},
                                {"build", build},
                                {"artifactFileName", artifactFileName},
                                {"artifactSHA256", artifactSHA256},
                                {"manifestPayload", manifestPayload},
                                {"manifestSignature", manifestSignature}});
}

std::optional<StagedUpdateReceipt> StagedUpdateReceipt::decode(ByteView json) {
  const auto object = JSONObject::parse(json, {"schemaVersion", "version", "build", "artifactFileName",
                                               "artifactSHA256", "manifestPayload", "manifestSignature"});
  if (!object) return std::nullopt;
  auto schemaVersion = object->integer("schemaVersion");
  auto version = object->string("version");
  auto build = object->integer("build");
  auto artifactFileName = object->string("artifactFileName");
  auto artifactSHA256 = object->string("artifactSHA256");
  auto manifestPayload = object->string("manifestPayload");
  auto manifestSignature = object->string("manifestSignature");
  if (!schemaVersion || !version || !build || !artifactFileName || !artifactSHA256 || !manifestPayload ||
      !manifestSignature)
    return std::nullopt;
  return StagedUpdateReceipt{*schemaVersion,
                             *std::move(version),
                             *build,
                             *std::move(artifactFileName),
                             *std::move(artifactSHA256),
                             *std::move(manifestPayload),
                             *std::move(manifestSignature)};
}

}  // namespace brindlewick
