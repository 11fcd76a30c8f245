#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "recorder/replay/recording_file.h"

namespace korvel::host {

/// Describes a file, and what limits its trustworthiness; complete once its calls have been read.
std::string in_words(const RecordingFile& recording);
nlohmann::json in_json(const RecordingFile& recording);

/// "getPose(b = 3)": with names of bodies and joints, floats in the shortest form that gives them back.
std::string call_in_words(const RecordingFile& recording, const RecordedCall& call);

/// "call 12 of object 1, 0.004 s, byte 65600".
std::string in_words(const CallPosition& place);

/// All inputs that an object shows.
std::string inputs_in_words(const tesk::RigidBodySystem& robot);

/// The number of a result that has this place among all, as "number 3" or with what the interface calls it.
std::string number_in_words(const RecordingFile& recording, const RecordedCall& call, std::size_t place);

}  // namespace korvel::host
