#include <cstdint>

// `readelf -n` and korvel-host read this from the file without loading it: a note whose owner is "korvel" and whose
// text is the version. The linker adds its own note, the build id: a hash over what it put into the file.

namespace {

/// A note in the layout of the ELF format: each part padded to whole words, which its size does not count.
struct VersionNote {
  std::uint32_t owner_size = sizeof(owner);
  std::uint32_t text_size = sizeof(text);
  std::uint32_t type = 1;
  alignas(4) char owner[7] = "korvel";
  alignas(4) char text[sizeof(KORVEL_VERSION)] = KORVEL_VERSION;
};

[[gnu::used, gnu::section(".note.korvel"), gnu::aligned(4)]] const VersionNote version_note;

}  // namespace
