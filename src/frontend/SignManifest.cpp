#include "frontend/SignManifest.h"

#include "signing/OfflineManifestSigner.h"

namespace brindlewick {

ManifestSigningResponse signManifest(const Platform& platform, const ManifestSigningCommand& command) {
  auto& files = *platform.files;
  // Before the key is opened: from then on there is something to lose.
  platform.processes->guardSecrets();
  auto result = OfflineManifestSigner::sign(files, command.privateKeyFile, command.artifactFile,
                                            {.applicationIdentifier = command.applicationIdentifier,
                                             .version = command.version,
                                             .build = command.build,
                                             .minimumSystemVersion = command.minimumSystemVersion,
                                             .artifactURL = command.artifactURL},
                                            platform.processes->effectiveUser());
  OfflineManifestSigner::write(files, result.envelopeData, command.outputFile,
                               {command.privateKeyFile, command.artifactFile});
  return {command.outputFile.string(), std::move(result.publicKeyBase64), std::move(result.artifactSHA256)};
}

}  // namespace brindlewick
