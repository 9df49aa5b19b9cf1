#include "install/InstallPreparationReceipt.h"

#include "trust/CanonicalJSON.h"
#include "trust/JSONObject.h"

namespace brindlewick {

std::optional<Bytes> InstallPreparationReceipt::encode() const {
  return CanonicalJSON::encode({{"schemaVersion", schemaVersion},
                                {"applicationIdentifier", applicationIdentifier},
                                {"version", version},
                                {"build", build},
                                {"artifactSHA256", artifactSHA256},
                                {"candidateDirectoryName", candidateDirectoryName}});
}

std::optional<InstallPreparationReceipt> InstallPreparationReceipt::decode(ByteView json) {
  const auto object = JSONObject::parse(
      json, {"schemaVersion", "applicationIdentifier", "version", "build", "artifactSHA256", "candidateDirectoryName"});
  if (!object) return std::nullopt;
  auto schemaVersion = object->integer("schemaVersion");
  auto applicationIdentifier = object->string("applicationIdentifier");
  auto version = object->string("version");
  auto build = object->integer("build");
  auto artifactSHA256 = object->string("artifactSHA256");
  auto candidateDirectoryName = object->string("candidateDirectoryName");
  if (!schemaVersion || !applicationIdentifier || !version || !build || !artifactSHA256 || !candidateDirectoryName)
    return std::nullopt;
  return InstallPreparationReceipt{
      *schemaVersion, *std::move(applicationIdentifier), *std::move(version),
      *build,         *std::move(artifactSHA256),        *std::move(candidateDirectoryName)};
}

}  // namespace brindlewick
