#include <gtest/gtest.h>
#include <uriparser/Uri.h>

#include <memory>

#include "platform/URL.h"
#include "unit/platform/URIGrammar.h"

namespace brindlewick {
namespace {

using testing::nearly;
using testing::uriGrammar;

/// A reference as uriparser reads it. The text must outlive it.
class PeerURI {
 public:
  static std::unique_ptr<PeerURI> parse(const std::string& text) {
    auto peer = std::unique_ptr<PeerURI>(new PeerURI);
    const char* end = nullptr;
    if (uriParseSingleUriExA(&peer->uri_, text.data(), text.data() + text.size(), &end) != URI_SUCCESS) return nullptr;
    return peer;
  }
  ~PeerURI() { uriFreeUriMembersA(&uri_); }
  PeerURI(const PeerURI&) = delete;
  PeerURI& operator=(const PeerURI&) = delete;

  [[nodiscard]] std::optional<std::string> scheme() const { return text(uri_.scheme); }
  [[nodiscard]] std::optional<std::string> userinfo() const { return text(uri_.userInfo); }
  [[nodiscard]] std::optional<std::string> host() const { return text(uri_.hostText); }
  [[nodiscard]] std::optional<std::string> port() const { return text(uri_.portText); }
  [[nodiscard]] std::optional<std::string> query() const { return text(uri_.query); }
  [[nodiscard]] std::optional<std::string> fragment() const { return text(uri_.fragment); }

  [[nodiscard]] std::string string() const {
    int length = 0;
    EXPECT_EQ(uriToStringCharsRequiredA(&uri_, &length), URI_SUCCESS);
    std::string composed(static_cast<std::size_t>(length) + 1, '\0');
    EXPECT_EQ(uriToStringA(composed.data(), &uri_, length + 1, nullptr), URI_SUCCESS);
    composed.pop_back();
    return composed;
  }

  [[nodiscard]] std::string resolve(const PeerURI& reference) const {
    PeerURI resolved;
    EXPECT_EQ(uriAddBaseUriA(&resolved.uri_, &reference.uri_, &uri_), URI_SUCCESS);
    return resolved.string();
  }

 private:
  PeerURI() = default;
  static std::optional<std::string> text(const UriTextRangeA& range) {
    return range.first == nullptr ? std::nullopt : std::optional(std::string(range.first, range.afterLast));
  }

  UriUriA uri_{};
};

void expectSameParts(const URL& url, const PeerURI& peer) {
  const auto& text = url.string();
  const auto& parts = url.components();
  const auto authority = URLAuthority::of(parts.authority.value_or(""));
  const bool isIPv6 = authority.host.starts_with('[');
  EXPECT_EQ(peer.scheme(), parts.scheme) << text;
  EXPECT_EQ(peer.userinfo(), authority.userinfo) << text;
  EXPECT_EQ(peer.host().value_or(""), isIPv6 ? authority.host.substr(1, authority.host.size() - 2) : authority.host);
  EXPECT_EQ(peer.port().value_or(""), authority.port.value_or("")) << text;
  EXPECT_EQ(peer.query(), parts.query) << text;
  EXPECT_EQ(peer.fragment(), parts.fragment) << text;
  // The peer keeps a path as a list of segments, and composes an IPv6 address in its longest form.
  if (!isIPv6) {
    EXPECT_EQ(peer.string(), text);
  }
}

TEST(URLPeer, acceptsAndRefusesTheSameTextsAndFindsTheSameParts) {
  std::mt19937_64 random(4);
  std::size_t accepted = 0, refused = 0;
  for (int i = 0; i < 50'000; ++i) {
    auto text = uriGrammar().derive("URI-reference", random).text;
    if (i % 2 == 0) text = nearly(text, random);
    if (text.empty()) continue;  // a reference to the peer, nothing to us
    const auto url = URL::parse(text);
    const auto peer = PeerURI::parse(text);
    ASSERT_EQ(url.has_value(), peer != nullptr) << ::testing::PrintToString(text);
    if (url) expectSameParts(*url, *peer);
    ++(url ? accepted : refused);
  }
  EXPECT_GT(accepted, 10'000U);
  EXPECT_GT(refused, 10'000U);
}

/// A path of segments that mean something or look as if they did. None is empty: the peer puts "/." before a path that
/// begins with "//", also behind an authority, where section 5.2 has nothing to protect.
std::string randomPath(std::mt19937_64& random) {
  constexpr const char* segments[] = {".", "..", "...", "a", "b:", "%2e", "%2F", ".%2E", "c;x=1", "@"};
  std::string path;
  for (auto count = random() % 6; count > 0; --count) {
    path += segments[random() % std::size(segments)];
    if (count > 1 || random() % 2 == 0) path += '/';
  }
  return path;
}

std::string randomEnd(std::mt19937_64& random) {
  constexpr const char* queries[] = {"", "", "?", "?q/../%2f"};
  constexpr const char* fragments[] = {"", "", "#", "#f/./"};
  return std::string(queries[random() % 4]) + fragments[random() % 4];
}

/// Everything but a scheme with a rootless path behind it and a base without an authority: there the peer drops a slash
/// that step C of section 5.2.4 leaves ("s:a/../b" is "s:/b"), and can turn a path into a host ("s:/a" with
/// "/b/..//c").
std::string randomReference(std::mt19937_64& random) {
  constexpr const char* starts[] = {"", "", "/", "//h", "//u@h:1/", "s:/", "https:/", "https://%41/"};
  const std::string start = starts[random() % std::size(starts)];
  const auto path = start.empty() || start.ends_with('/') ? randomPath(random) : "";
  return start + path + randomEnd(random);
}

TEST(URLPeer, resolvesReferencesToTheSameTexts) {
  std::mt19937_64 random(5);
  for (int i = 0; i < 100'000; ++i) {
    const auto base = "https://h:8" + (random() % 4 == 0 ? "" : "/" + randomPath(random)) + randomEnd(random);
    const auto relative = randomReference(random);
    const auto peerBase = PeerURI::parse(base), peerRelative = PeerURI::parse(relative);
    const auto ours = URL::parse(base)->resolve(relative);
    ASSERT_TRUE(peerBase) << base;
    ASSERT_TRUE(ours && peerRelative) << relative;
    EXPECT_EQ(ours->string(), peerBase->resolve(*peerRelative)) << base << " with " << relative;
  }
}

}  // namespace
}  // namespace brindlewick
