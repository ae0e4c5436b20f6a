#pragma once
// From a fabric to what the machines make of it: the one place that takes a list of operations to a
// controller and says which of them failed. `run` reports on what came out, `audit` and `plan`
// compare it, `render` words it for equipment.

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <vector>

#include "host/Controller.h"
#include "host/Fabric.h"
#include "host/JournalFile.h"
#include "host/Outputs.h"
#include "host/Report.h"

namespace Fabrion::Host {

// "the operation LINE failed: why", LINE being the operation as a journal has it.
class OperationFailed : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Is told after each operation how many of how many are done.
using AfterEach = std::function<void(std::size_t done, std::size_t all)>;

// Runs the operations in their order; `record`, unless null, gets each before it is run. Raises
// OperationFailed at the first that fails, which leaves those before it done, and JournalFileError.
void applyAll(const std::vector<Operation>& operations, Controller& controller,
              JournalFile* record = nullptr, const AfterEach& after = {});

// What stands when a fabric has been applied.
struct Derived {
  Report report;
  FabricOutputs outputs;
};

// Of a fresh controller to which `fabric` has been applied. Raises OperationFailed.
Derived derive(const Fabric& fabric, const Velo::VeloModule& module, const AfterEach& after = {});

// The outputs of the same alone.
FabricOutputs outputsOf(const Fabric& fabric, const Velo::VeloModule& module,
                        const AfterEach& after = {});

}  // namespace Fabrion::Host
