// Writes a signed application bundle to a folder, for scenarios that run whole programs.

#include <algorithm>
#include <exception>
#include <functional>
#include <iostream>
#include <map>
#include <set>
#include <stdexcept>

#include "support/TemporaryFolder.h"
#include "support/codesign/BundleBuilder.h"
#include "support/codesign/PropertyListText.h"

namespace brindlewick::testing {
namespace {

constexpr std::string_view help = R"(usage: make-test-bundle [option...] OUTPUT

Writes an application bundle from nothing to OUTPUT, such as out/Brindlewick.app, which must not exist: with a Developer
ID signature, a timestamp and a stapled ticket of a test authority. Prints the SHA-256 of the authority's root.

  --identifier ID       CFBundleIdentifier and signing identifier   (com.brindlewick.app)
  --version TEXT        CFBundleShortVersionString                  (2.4.0)
  --build NUMBER        CFBundleVersion                             (118)
  --team TEAM           signing team                                (TEAM123456)
  --executable NAME     name of the executable, CFBundleExecutable  (Brindlewick)
  --executable-key TEXT CFBundleExecutable, whatever the executable is named
  --architectures LIST  both, or only arm64 or x86_64               (both)
  --sign KIND           developer-id, adhoc or none                 (developer-id)
  --timestamp KIND      secure or none                              (secure)
  --ticket KIND         good or none                                (good)
  --root KIND           test, the root in the folder of --pki, or other, one that nobody knows   (test)
  --pki DIR             where the test root lies (root.der, root-key.pem); the first run makes it there. The ticket's
                        chain ends in the same root, and the ticket holds it. Default: the root of the test programs
  --nested KIND         none, or all: add a framework, a helper tool and a library, each signed  (none)
  --add PATH=FILE       seal a copy of FILE at PATH below Contents; may be repeated
  --count N             add N files of filler to Contents/Resources/filler
  --size BYTES          the size of each                            (4096)
  --code-size BYTES     the size of the code of each architecture   (28432)
  --tamper PLACE        after signing, change one byte of: executable, nested, resource, info, ticket
  --help                this text
)";

const std::set<std::string, std::less<>> optionsWithValue = {
    "--identifier",    "--version", "--build",     "--team",   "--executable", "--executable-key",
    "--architectures", "--sign",    "--timestamp", "--ticket", "--root",       "--pki",
    "--nested",        "--add",     "--count",     "--size",   "--code-size",  "--tamper"};

/// The command line: options with their last value, and what is added.
struct Options {
  std::map<std::string, std::string, std::less<>> values;
  std::vector<std::string> additions;
  std::string output;
  bool wantsHelp = false;

  [[nodiscard]] bool has(std::string_view name) const { return values.contains(name); }
  [[nodiscard]] std::string get(std::string_view name, const std::string& fallback) const {
    const auto found = values.find(name);
    return found == values.end() ? fallback : found->second;
  }
  /// One of a few words, of which the first is the default.
  [[nodiscard]] std::string word(std::string_view name, const std::vector<std::string>& words) const {
    const std::string value = get(name, words.front());
    if (std::find(words.begin(), words.end(), value) == words.end())
      throw std::invalid_argument(std::string(name) + ": no " + value);
    return value;
  }
};

Options parsed(int count, char** arguments) {
  Options options;
  for (int i = 1; i < count; ++i) {
    const std::string argument = arguments[i];
    if (argument == "--help") {
      options.wantsHelp = true;
    } else if (!argument.starts_with("--")) {
      options.output = argument;
    } else if (!optionsWithValue.contains(argument) || i + 1 == count) {
      throw std::invalid_argument("unknown option, or one without its value: " + argument);
    } else if (const std::string value = arguments[++i]; argument == "--add") {
      options.additions.push_back(value);
    } else {
      options.values[argument] = value;
    }
  }
  return options;
}

void shapeCode(BundleShape& shape, const Options& options) {
  const std::string architectures = options.word("--architectures", {"both", "arm64", "x86_64"});
  const std::string kind = options.word("--sign", {"developer-id", "adhoc", "none"});
  if (architectures != "both") shape.code.slices.erase(shape.code.slices.begin() + (architectures == "arm64" ? 0 : 1));
  for (SliceShape& slice : shape.code.slices) {
    slice.codeByteCount = std::stoull(options.get("--code-size", "28432")) & ~std::size_t{15};
    // Room for the page hashes of the whole code, and for the certificates.
    slice.signatureByteCount += slice.codeByteCount / 128 & ~std::size_t{15};
    if (options.word("--timestamp", {"secure", "none"}) == "none") slice.signature.message.timestamp.reset();
    if (kind == "adhoc") slice.signature.kind = SignatureKind::adHoc;
    if (kind == "none") slice.signature.kind = SignatureKind::none;
  }
}

void addNestedCode(BundleShape& shape) {
  NestedItem framework;
  framework.code = std::make_shared<BundleShape>(BundleShape::framework("Core", BundleLayout::flat));
  std::get<std::shared_ptr<BundleShape>>(framework.code)->team = shape.team;
  shape.nested.emplace("Frameworks/Core.framework", framework);
  NestedItem tool = BundleShape::file("helper.tool", executableFile, SignatureKind::certificate);
  NestedItem library = BundleShape::file("libwords", dynamicLibraryFile, SignatureKind::certificate);
  tool.team = library.team = shape.team;
  shape.nested.emplace("MacOS/helper.tool", tool);
  shape.nested.emplace("Frameworks/libwords.dylib", library);
}

void addFiles(BundleShape& shape, const Options& options) {
  for (const std::string& addition : options.additions) {
    const std::size_t equals = addition.find('=');
    if (equals == std::string::npos) throw std::invalid_argument("--add needs PATH=FILE");
    shape.items[addition.substr(0, equals)] = FileItem{readFile(Path(addition.substr(equals + 1)))};
  }
  const std::size_t count = std::stoull(options.get("--count", "0"));
  std::string content(std::stoull(options.get("--size", "4096")), '\0');
  for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 2654435761U >> 13);
  for (std::size_t i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    content.replace(0, std::min(number.size(), content.size()), number, 0, content.size());
    shape.items["Resources/filler/" + number + ".bin"] = FileItem{content};
  }
}

BundleShape shapeOf(const Options& options) {
  BundleShape shape = BundleShape::application();
  shape.identifier = options.get("--identifier", shape.identifier);
  shape.team = options.get("--team", shape.team);
  shape.executable = options.get("--executable", shape.executable);
  shape.information["CFBundleIdentifier"] = plist::string(shape.identifier);
  shape.information["CFBundleExecutable"] = plist::string(options.get("--executable-key", shape.executable));
  shape.information["CFBundleShortVersionString"] = plist::string(options.get("--version", "2.4.0"));
  shape.information["CFBundleVersion"] = plist::string(options.get("--build", "118"));
  shapeCode(shape, options);
  if (options.word("--nested", {"none", "all"}) == "all") addNestedCode(shape);
  addFiles(shape, options);
  shape.ticket->embedsRoot = true;
  if (options.word("--ticket", {"good", "none"}) == "none") shape.ticket.reset();
  return shape;
}

void tamper(const Path& bundle, const BundleShape& shape, const std::string& place) {
  const Path contents = bundle / "Contents";
  const std::map<std::string, std::pair<Path, std::size_t>> places = {
      {"executable", {contents / "MacOS" / shape.executable, 0x5000}},
      {"nested", {contents / "MacOS/helper.tool", 0x5000}},
      {"resource", {contents / "Resources/icon.icns", 0}},
      {"info", {contents / "Info.plist", 0}},
      {"ticket", {contents / "CodeResources", 100}}};
  const auto found = places.find(place);
  if (found == places.end()) throw std::invalid_argument("--tamper: no place named " + place);
  const auto& [path, offset] = found->second;
  std::string content = readFile(path);
  content.at(offset) = static_cast<char>(content.at(offset) ^ 1);
  writeFile(path, content, permissionsOf(path));
}

/// The root in its folder, or a new one that is kept nowhere.
Identity rootOf(const Options& options, const CertificateShape& shape) {
  if (options.word("--root", {"test", "other"}) == "other") return issue(shape, nullptr);
  return loadOrIssue(Path(options.get("--pki", BRINDLEWICK_TEST_PKI)), "root", shape);
}

void run(const Options& options) {
  if (options.output.empty()) throw std::invalid_argument("where to? Try --help");
  const Path output(options.output);
  if (exists(output)) throw std::invalid_argument(output.string() + " exists already");
  const PKIShape certificates = PKIShape::developerID(options.get("--team", "TEAM123456"));
  const Identity root = rootOf(options, certificates.root);
  const BundleShape shape = shapeOf(options);
  writeBundle(output, shape, TestPKI::issuedUnder(root, certificates));
  if (options.has("--tamper")) tamper(output, shape, options.get("--tamper", ""));
  for (const std::uint8_t byte : digestOf(root.certificate, "sha256"))
    std::cout << "0123456789abcdef"[byte >> 4] << "0123456789abcdef"[byte & 15];
  std::cout << "\n";
}

}  // namespace
}  // namespace brindlewick::testing

int main(int count, char** arguments) try {
  const auto options = brindlewick::testing::parsed(count, arguments);
  if (options.wantsHelp)
    std::cout << brindlewick::testing::help;
  else
    brindlewick::testing::run(options);
  return 0;
} catch (const std::exception& error) {
  std::cerr << "make-test-bundle: " << error.what() << "\n";
  return 2;
}
