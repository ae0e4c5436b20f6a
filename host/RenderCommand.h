#pragma once
// `fabrion render`: what comes out of a fabric, in the words of real equipment (Rendering.h).
// Nothing is sent anywhere.

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "host/Outcome.h"
#include "host/Terminal.h"
#include "platform/Velo/Module.h"
#include "platform/Velo/Types.h"

namespace Fabrion::Host {

enum class RenderTarget : U8 { ovs, sonic, openconfig };

struct RenderOptions {
  std::vector<std::string> documents;
  RenderTarget target = RenderTarget::ovs;
  // Nothing for all of them.
  std::optional<std::string> switchName = {};
  Terminal terminal = {};
};

// Commands, or JSON: of one switch its configuration, of all an object of them by name. What the
// target cannot express goes to `err`, line by line, and then nothing to `out`. Raises ModuleError
// when the module is not the one that this host knows.
Outcome render(const RenderOptions& options, std::ostream& out, std::ostream& err,
               const Velo::VeloModule& module);

}  // namespace Fabrion::Host
