// A module whose fault the environment names.

#include <unistd.h>

#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string_view>

namespace {

bool has_fault(std::string_view name) {
  const char* fault = std::getenv("KORVEL_FAULT");
  return fault != nullptr && fault == name;
}

[[noreturn]] void hang() {
  for (;;) pause();
}

/// As if it had passed whatever it is asked, to whoever may listen.
[[noreturn]] void lie() {
  for (int descriptor = 0; descriptor < 64; ++descriptor) {
    if (write(descriptor, "held", 4) < 0) continue;
  }
  _exit(0);
}

struct AtLoad {
  AtLoad() {
    if (has_fault("exits at load")) std::exit(0);
    if (has_fault("aborts at load")) std::abort();
    if (has_fault("hangs at load")) hang();
    if (has_fault("lies at load")) lie();
    if (has_fault("closes everything and hangs")) {
      for (int descriptor = 0; descriptor < 64; ++descriptor) close(descriptor);
      hang();
    }
  }
} const at_load;

void* no_table[64] = {};

}  // namespace

extern "C" {
__attribute__((visibility("default"))) void* create();
__attribute__((visibility("default"))) void destroy(void* robot);
}

void* create() {
  if (has_fault("throws a number")) throw 42;
  if (has_fault("throws text")) throw std::runtime_error("out\nof \x1b[31morder");
  if (has_fault("throws bad_alloc")) throw std::bad_alloc();
  if (has_fault("exits")) std::exit(0);
  if (has_fault("lies")) lie();
  if (has_fault("is no object")) return static_cast<void*>(no_table);
  return nullptr;
}

void destroy(void* /*robot*/) {}
