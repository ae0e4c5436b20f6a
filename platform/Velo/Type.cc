#include "platform/Velo/Type.h"

#include <cstring>

namespace Velo {

namespace {

const AttributeRecord* attributeOf(const PtrInterface& object, U32 attribute) {
  const TypeRecord* type = object.fwkType().record();
  if (type == nullptr || attribute >= type->attributes.size()) return nullptr;
  return &type->attributes[attribute];
}

}  // namespace

int genericIfAttributeOp(void* result, PtrInterface* object, U32 attribute, AttributeOp op,
                         void* key, void* value) {
  const AttributeRecord* record = attributeOf(*object, attribute);
  if (record == nullptr) return AttributeRecord::unknown;
  if (record->op == nullptr) return AttributeRecord::unsupported;
  const Frame frame(*object);
  return record->op(result, object, op, key, value);
}

std::unique_ptr<GenericIterator> genericIfIterator(PtrInterface* object, U32 attribute) {
  const AttributeRecord* record = attributeOf(*object, attribute);
  if (record == nullptr || record->iterate == nullptr) return nullptr;
  return record->iterate(object);
}

U32 attributeIndex(const TypeRecord& type, const char* name) {
  U32 index = 0;
  for (const AttributeRecord& attribute : type.attributes) {
    if (std::strcmp(attribute.name, name) == 0) break;
    ++index;
  }
  return index;
}

}  // namespace Velo
