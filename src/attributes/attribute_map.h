// AttributeMap: the attributes of one session, by key, full name and short
// name. The container and its look-ups come with the attribute model.
#pragma once

namespace keld {

class AttributeMap {
 public:
  AttributeMap() = default;
  AttributeMap(const AttributeMap&) = delete;
  AttributeMap& operator=(const AttributeMap&) = delete;
  virtual ~AttributeMap() = default;
};

}  // namespace keld
