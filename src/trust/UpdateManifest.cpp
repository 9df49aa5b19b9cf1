#include "trust/UpdateManifest.h"

#include <algorithm>

#include "trust/CanonicalJSON.h"
#include "trust/JSONObject.h"
#include "trust/UpdateSecurityError.h"

namespace brindlewick {

std::optional<UpdateManifest> UpdateManifest::decode(ByteView json) {
  const auto object = JSONObject::parse(json, {"schemaVersion", "appIdentifier", "version", "build",
                                               "minimumSystemVersion", "artifactURL", "artifactSHA256"});
  if (!object) return std::nullopt;
  auto schemaVersion = object->integer("schemaVersion");
  auto appIdentifier = object->string("appIdentifier");
  auto version = object->string("version");
  auto build = object->integer("build");
  auto minimumSystemVersion = object->string("minimumSystemVersion");
  auto artifactURL = object->string("artifactURL");
  auto artifactSHA256 = object->string("artifactSHA256");
  if (!schemaVersion || !appIdentifier || !version || !build || !minimumSystemVersion || !artifactURL ||
      !artifactSHA256)
    return std::nullopt;
  return UpdateManifest{
      *schemaVersion,          *std::move(appIdentifier), *std::move(version), *build, *std::move(minimumSystemVersion),
      *std::move(artifactURL), *std::move(artifactSHA256)};
}

std::optional<Bytes> CanonicalUpdateManifest::encode(const UpdateManifest& manifest) {
  return CanonicalJSON::encode({{"schemaVersion", manifest.schemaVersion},
                                {"appIdentifier", manifest.appIdentifier},
                                {"version", manifest.version},
                                {"build", manifest.build},
                                {"minimumSystemVersion", manifest.minimumSystemVersion},
                                {"artifactURL", manifest.artifactURL},
                                {"artifactSHA256", manifest.artifactSHA256}});
}

UpdateManifest CanonicalUpdateManifest::fromPayload(ByteView payload) {
  using enum UpdateSecurityError;
  auto manifest = unwrap(UpdateManifest::decode(payload), nonCanonicalPayload);
  const auto canonical = unwrap(encode(manifest), nonCanonicalPayload);
  require(std::ranges::equal(canonical, payload), nonCanonicalPayload);
  return manifest;
}

}  // namespace brindlewick
