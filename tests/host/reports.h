#pragma once
// Reports on documents that a test writes.

#include <string>

#include "host/Controller.h"
#include "host/FabricChange.h"
#include "host/Module.h"
#include "host/Report.h"
#include "tests/host/Texts.h"

#ifdef FABRION_MODULE

namespace Fabrion::Test {

inline Host::Report reportOn(const std::string& document) {
  const Host::Fabric fabric = fabricOf(document);
  Host::Controller controller(Host::loadModule(FABRION_MODULE));
  for (const Host::Operation& operation : Host::FabricChange().to(fabric))
    controller.apply(operation);
  return Host::reportOf(fabric, controller);
}

}  // namespace Fabrion::Test

#endif
