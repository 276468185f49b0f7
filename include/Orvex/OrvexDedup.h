#pragma once

/// What objects that are shared by content have in common.

#include <cstdint>

#include "Kiv/Entity.h"

namespace Orvex {

/// An object that can be found by its content. Equal objects have equal hashes. Every class overrides both; those here are
/// fatal checks.
class Dedupable : public Kiv::Entity {
 public:
  virtual std::uint32_t hash() const;
  /// False for null and for an object of another class.
  virtual bool isEqual( Kiv::Ptr<Dedupable const> const& other ) const;
};

}  // namespace Orvex
