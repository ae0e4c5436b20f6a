#pragma once
// From a fabric to what the machines make of it: the one place that takes a list of operations to a
// controller and says which of them failed. `run` reports on what came out, `audit` compares it,
// `render` words it for equipment.

#include <stdexcept>
#include <vector>

#include "host/Controller.h"
#include "host/Fabric.h"
#include "host/JournalFile.h"
#include "host/Outputs.h"

namespace Fabrion::Host {

// "the operation LINE failed: why", LINE being the operation as a journal has it.
class OperationFailed : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Runs the operations in their order; `record`, unless null, gets each before it is run. Raises
// OperationFailed at the first that fails, which leaves those before it done, and JournalFileError.
void applyAll(const std::vector<Operation>& operations, Controller& controller,
              JournalFile* record = nullptr);

// The outputs of a fresh controller to which `fabric` has been applied. Raises OperationFailed.
FabricOutputs outputsOf(const Fabric& fabric, const Velo::VeloModule& module);

}  // namespace Fabrion::Host
