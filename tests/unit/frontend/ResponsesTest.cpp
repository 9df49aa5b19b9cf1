#include <gtest/gtest.h>

#include <string>

#include "frontend/InstallPreparationResponse.h"
#include "frontend/ManifestSigningResponse.h"
#include "frontend/ResponseWriter.h"
#include "frontend/UpdateHelperResponse.h"

namespace brindlewick {
namespace {

using Outcome = UpdateHelperResponse::Outcome;

/// Keeps what is written, one entry a write.
class RecordingOutput final : public StandardOutput {
 public:
  void write(ByteView bytes) noexcept override { writes.emplace_back(asText(bytes)); }
  std::vector<std::string> writes;
};

template <typename Response>
std::vector<std::string> written(const Response& response) {
  RecordingOutput output;
  writeResponse(output, response);
  return output.writes;
}

using Writes = std::vector<std::string>;

TEST(UpdateHelperResponse, holdsOnlyTwoKeysAfterAFailure) {
  EXPECT_EQ(written(UpdateHelperResponse{.message = "No."}), (Writes{R"({"message":"No.","outcome":"failed"})", "\n"}));
}

TEST(UpdateHelperResponse, holdsSortedKeysAndPlainSlashesWhenStaged) {
  const UpdateHelperResponse response{.outcome = Outcome::staged,
                                      .version = "2.4.0",
                                      .build = 118,
                                      .stagedArtifactPath = "/s/c/BrindlewickUpdate.zip",
                                      .receiptPath = "/s/c/receipt.json",
                                      .message = "Staged."};
  EXPECT_EQ(written(response)[0],
            R"({"build":118,"message":"Staged.","outcome":"staged","receiptPath":"/s/c/receipt.json",)"
            R"("stagedArtifactPath":"/s/c/BrindlewickUpdate.zip","version":"2.4.0"})");
}

TEST(UpdateHelperResponse, namesEachOutcome) {
  for (const auto& [outcome, name] : {std::pair(Outcome::upToDate, "upToDate"),
                                      {Outcome::staged, "staged"},
                                      {Outcome::incompatible, "incompatible"},
                                      {Outcome::failed, "failed"}})
    EXPECT_EQ(written(UpdateHelperResponse{.outcome = outcome, .message = "m"})[0],
              std::string(R"({"message":"m","outcome":")") + name + "\"}");
}

TEST(ManifestSigningResponse, holdsItsThreeKeys) {
  EXPECT_EQ(written(ManifestSigningResponse{"/m.json", "a/+=", "00"}),
            (Writes{R"({"artifactSHA256":"00","manifestPath":"/m.json","publicKeyBase64":"a/+="})", "\n"}));
}

TEST(InstallPreparationResponse, holdsSortedKeysAndItsMessage) {
  InstallPreparationResponse response;
  EXPECT_EQ(written(response)[0],
            R"({"message":"The signed update is verified and ready to install.","outcome":"prepared"})");
  response.version = "2.4.0";
  response.build = 118;
  response.preparationDirectoryPath = "/s/c/p";
  EXPECT_EQ(written(response)[0], R"({"build":118,"message":"The signed update is verified and ready to install.",)"
                                  R"("outcome":"prepared","preparationDirectoryPath":"/s/c/p","version":"2.4.0"})");
}

TEST(ResponseWriter, writesNothingAtAllWhatCannotBeEncoded) {
  EXPECT_TRUE(written(UpdateHelperResponse{.message = "\xFF"}).empty());
  EXPECT_TRUE(written(ManifestSigningResponse{"/\xFF", "", ""}).empty());
}

}  // namespace
}  // namespace brindlewick
