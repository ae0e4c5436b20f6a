#include "platform/Velo/Entity.h"

namespace Velo {

void Entity::veloFiledIs(bool filed) {
  filed_ = filed;
  if (!filed) releaseIfOver();
}

void Entity::endIs() {
  over_ = true;
  releaseIfOver();
}

void Entity::releaseIfOver() {
  if (over_ && !filed_ && notifiees_.empty()) veloRelease();
}

}  // namespace Velo
