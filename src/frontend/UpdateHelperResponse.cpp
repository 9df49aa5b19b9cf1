#include "frontend/UpdateHelperResponse.h"

#include "trust/CanonicalJSON.h"

namespace brindlewick {
namespace {

std::string rawValue(UpdateHelperResponse::Outcome outcome) {
  switch (outcome) {
    case UpdateHelperResponse::Outcome::upToDate:
      return "upToDate";
    case UpdateHelperResponse::Outcome::staged:
      return "staged";
    case UpdateHelperResponse::Outcome::incompatible:
      return "incompatible";
    case UpdateHelperResponse::Outcome::failed:
      return "failed";
  }
  return {};
}

}  // namespace

std::optional<Bytes> UpdateHelperResponse::encode() const {
  CanonicalJSON::Members members{{"outcome", rawValue(outcome)}, {"message", message}};
  if (version) members.emplace_back("version", *version);
  if (build) members.emplace_back("build", *build);
  if (stagedArtifactPath) members.emplace_back("stagedArtifactPath", *stagedArtifactPath);
  if (receiptPath) members.emplace_back("receiptPath", *receiptPath);
  return CanonicalJSON::encode(members);
}

}  // namespace brindlewick
