#pragma once
// What tests of a controller that follows edits share.

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "host/Derivation.h"
#include "host/Following.h"
#include "host/OutputsJson.h"
#include "host/Replay.h"
#include "tests/host/Texts.h"
#include "tests/host/controller_scene.h"

#ifdef FABRION_MODULE

namespace Fabrion::Test {

inline Host::FollowedEdit followed(Host::Following& following, const Host::Fabric& next) {
  return following.follow(next, Host::derive(next, machines()));
}

// What a replay of the journal ends with.
inline Host::FabricOutputs replayed(const std::string& path) {
  std::istringstream journal(textOfFile(path) + "{\"op\":\"dump\"}\n");
  std::ostringstream out;
  std::ostringstream err;
  EXPECT_EQ(Host::replay({path, {}}, journal, out, err, machines()), Host::ExitStatus::success)
      << err.str();
  return Host::outputsFrom(path, out.str());
}

}  // namespace Fabrion::Test

#endif
