#include "frontend/InstallPreparationResponse.h"

#include "trust/CanonicalJSON.h"

namespace brindlewick {

std::optional<Bytes> InstallPreparationResponse::encode() const {
  CanonicalJSON::Members members{{"outcome", outcome}, {"message", message}};
  if (version) members.emplace_back("version", *version);
  if (build) members.emplace_back("build", *build);
  if (preparationDirectoryPath) members.emplace_back("preparationDirectoryPath", *preparationDirectoryPath);
  return CanonicalJSON::encode(members);
}

}  // namespace brindlewick
