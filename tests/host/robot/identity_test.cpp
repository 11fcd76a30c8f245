#include <nlohmann/json.hpp>
#include <regex>
#include <set>

#include "host/robot/module.h"
#include "tests/host/support/command.h"

namespace korvel::host {
namespace {

class IdentityOfAModule : public CommandTest {
 protected:
  /// The build id as the linker's own tools read it.
  static std::string build_id_by_readelf(const std::filesystem::path& file) {
    const TemporaryDirectory directory;
    const std::filesystem::path notes = directory / "notes";
    EXPECT_EQ(std::system(fmt::format("readelf -nW '{}' >'{}' 2>/dev/null", file.string(), notes.string()).c_str()), 0);
    std::smatch found;
    const std::string text = read(notes);
    return std::regex_search(text, found, std::regex("Build ID: ([0-9a-f]+)")) ? found.str(1) : "";
  }

  /// A copy of the module without what objcopy is told to leave out.
  std::filesystem::path copy(const std::string& options) const {
    const std::filesystem::path file = directory_ / "copy.so";
    EXPECT_EQ(std::system(fmt::format("objcopy {} '{}' '{}'", options, KORVEL_MODULE, file.string()).c_str()), 0);
    return file;
  }
};

TEST_F(IdentityOfAModule, IsInItsFile) {
  const Identity module = identity(KORVEL_MODULE);
  EXPECT_EQ(module.version, KORVEL_VERSION);
  EXPECT_EQ(module.build_id.size(), 40);
  EXPECT_EQ(module.build_id, build_id_by_readelf(KORVEL_MODULE));
  EXPECT_NE(module.build_id, identity(KORVEL_PER_BODY_MODULE).build_id);
}

TEST_F(IdentityOfAModule, StaysWhenItIsStrippedAndIsUnknownWithoutItsNotes) {
  Identity module = identity(copy("--strip-all"));
  EXPECT_EQ(module.version, KORVEL_VERSION);
  EXPECT_EQ(module.build_id, identity(KORVEL_MODULE).build_id);
  module = identity(copy("--remove-section .note.korvel"));
  EXPECT_EQ(module.version, "unknown");
  EXPECT_EQ(module.build_id, identity(KORVEL_MODULE).build_id);
  module = identity(copy("--remove-section .note.korvel --remove-section .note.gnu.build-id"));
  EXPECT_EQ(module.version, "unknown");
  EXPECT_EQ(module.build_id, "unknown");
  EXPECT_EQ(identity(directory_ / "none.so").version, "unknown");
}

// Wherever a file ends, what is said is all of it or unknown.
TEST_F(IdentityOfAModule, IsNotReadBeyondTheEndOfAFile) {
  const Identity whole = identity(KORVEL_MODULE);
  const std::string bytes = read(KORVEL_MODULE);
  std::set<std::string> versions, build_ids;
  for (std::size_t size = 0; size < bytes.size(); size += size < 2048 ? 4 : 4096) {
    write(directory_ / "cut.so", bytes.substr(0, size));
    const Identity cut = identity(directory_ / "cut.so");
    versions.insert(cut.version);
    build_ids.insert(cut.build_id);
  }
  EXPECT_EQ(versions, (std::set<std::string>{"unknown", whole.version}));
  EXPECT_EQ(build_ids, (std::set<std::string>{"unknown", whole.build_id}));
}

TEST_F(IdentityOfAModule, IsWhatInfoAndValidateBeginWith) {
  for (const std::filesystem::path& file :
       {std::filesystem::path(KORVEL_MODULE), copy("--remove-section .note.korvel")}) {
    const Identity module = identity(file);
    const std::string line = lines_of(module);
    for (const std::string& part : {file.string(), module.version, module.build_id}) {
      expect_has(line, part);
    }
    const std::string only = "--only '^loading.exports$'";
    EXPECT_EQ(host(fmt::format("info --module '{}'", file.string())).out.compare(0, line.size(), line), 0);
    EXPECT_EQ(host(fmt::format("validate '{}' {}", file.string(), only)).out.compare(0, line.size(), line), 0);
    const std::string described = host(fmt::format("info --module '{}' --json", file.string())).out;
    const std::string outcomes = host(fmt::format("validate '{}' {} --json", file.string(), only)).out;
    for (const std::string& text : {described, outcomes}) {
      const auto json = nlohmann::json::parse(text);
      EXPECT_EQ(json["module"], file.string());
      EXPECT_EQ(json["version"], module.version);
      EXPECT_EQ(json["build_id"], module.build_id);
    }
  }
}

}  // namespace
}  // namespace korvel::host
