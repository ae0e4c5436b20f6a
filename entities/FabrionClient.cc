#include "entities/FabrionClient.h"

#include <ostream>
#include <string>

namespace Fabrion::Client {

Nimbo::String ClientDomain::name() const {
  if (domain_.empty()) return client_;
  return Nimbo::String(std::string(client_.view()) + "/" + std::string(domain_.view()));
}

std::ostream& operator<<(std::ostream& out, const ClientDomain& domain) {
  return out << domain.name();
}

}  // namespace Fabrion::Client
