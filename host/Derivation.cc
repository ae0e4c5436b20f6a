#include "host/Derivation.h"

#include "host/BadJournal.h"
#include "host/FabricChange.h"
#include "host/JournalWriter.h"
#include "platform/Velo/Exceptions.h"

namespace Fabrion::Host {

namespace {

[[noreturn]] void fail(const Operation& operation, const char* why) {
  throw OperationFailed("the operation " + lineOf(operation) + " failed: " + why);
}

}  // namespace

void applyAll(const std::vector<Operation>& operations, Controller& controller, JournalFile* record,
              const AfterEach& after) {
  std::size_t done = 0;
  for (const Operation& operation : operations) {
    if (record != nullptr) record->write(operation);
    try {
      controller.apply(operation);
    } catch (const Velo::Exception& raised) {
      fail(operation, raised.what());
    } catch (const BadJournal& refused) {
      fail(operation, refused.what());
    }
    if (after) after(++done, operations.size());
  }
}

Derived derive(const Fabric& fabric, const Velo::VeloModule& module, const AfterEach& after) {
  Controller controller(module);
  applyAll(FabricChange().to(fabric), controller, nullptr, after);
  return {reportOf(fabric, controller), outputsOf(controller)};
}

FabricOutputs outputsOf(const Fabric& fabric, const Velo::VeloModule& module,
                        const AfterEach& after) {
  Controller controller(module);
  applyAll(FabricChange().to(fabric), controller, nullptr, after);
  return outputsOf(controller);
}

}  // namespace Fabrion::Host
