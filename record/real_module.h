#pragma once

#include <string>

#include "plugin/rigid_body_system.h"

namespace korvel::record {

/// The module that calls are forwarded to: KORVEL_RECORD_MODULE, else the one in the recorder's folder.
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

  tesk::RigidBodySystem* create() const { return create_(); }

  const std::string& path() const { return path_; }
  /// What its file says of it, or "unknown".
  const std::string& version() const { return version_; }
  const std::string& build_id() const { return build_id_; }

 private:
  void read_notes();

  std::string path_;
  std::string version_ = "unknown", build_id_ = "unknown";
  void* library_ = nullptr;
  tesk::RigidBodySystem* (*create_)() = nullptr;
};

}  // namespace korvel::record
