#pragma once

#include <memory>
#include <string>

#include "plugin/rigid_body_system.h"

namespace korvel::record {

/// The module that calls are forwarded to: KORVEL_RECORD_MODULE, else the one in the recorder's folder, else one that
/// the process has loaded.
///
/// Its inertias belong to this recorder. Where the process has loaded the same file already, a copy in memory is
/// loaded.
class RealModule {
 public:
  /// Throws std::runtime_error with the reason if it cannot be loaded.
  RealModule();
  RealModule(const RealModule&) = delete;
  RealModule& operator=(const RealModule&) = delete;
  ~RealModule();

  /// Returns an object, never null. Throws what the module throws, and std::runtime_error if it made no object.
  std::unique_ptr<tesk::RigidBodySystem> create() const;

  const std::string& path() const { return path_; }
  /// The version that its file names, or "unknown".
  const std::string& version() const { return version_; }
  const std::string& build_id() const { return build_id_; }

 private:
  void read_notes();
  void read_notes(const char* at, const char* end);

  std::string path_;
  std::string version_ = "unknown", build_id_ = "unknown";
  void* library_ = nullptr;
  tesk::RigidBodySystem* (*create_)() = nullptr;
};

std::string hexadecimal(std::uint64_t value, unsigned digits);

}  // namespace korvel::record
