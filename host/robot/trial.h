#pragma once

#include <filesystem>

#include "host/robot/module.h"

namespace korvel::host {

/// Throws Error unless `path` is a file with a module's format. Nothing of it is loaded.
void require_module_file(const std::filesystem::path& path);

/// Loads a module once a process of its own has seen that it can be: that it loads, makes a robot and answers what it
/// is asked about it, in seconds. Throws Error that says what is wrong with the module, whatever its fault does to that
/// process. The calling process has a single thread.
Module tried_module(const std::filesystem::path& path);

/// A robot of the module with its initial values. Throws Error if the module makes none.
System robot_of(const Module& module);

}  // namespace korvel::host
