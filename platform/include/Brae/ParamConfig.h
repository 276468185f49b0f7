#pragma once

/// The chip-independent parameters of access control. Written by the host, read by the loader.

#include <cstdint>

#include "Kiv/Entity.h"

namespace Brae {

class ParamConfig : public Kiv::Entity {
 public:
  /// What a chip does with all traffic while a hitful update loads: kPermit permits it, any other value denies it.
  static constexpr std::uint32_t kDeny = 0;
  static constexpr std::uint32_t kPermit = 1;

  class NotifieeConst : public Kiv::NotifieeConstOf<ParamConfig, Kiv::NotifieeConst> {
   public:
    virtual void onHitfulUpdatePolicy() {}
  };

  std::uint32_t hitfulUpdatePolicy() const { return hitfulUpdatePolicy_; }
  void hitfulUpdatePolicyIs( std::uint32_t policy ) {
    set( hitfulUpdatePolicy_, policy, &NotifieeConst::onHitfulUpdatePolicy );
  }

 private:
  std::uint32_t hitfulUpdatePolicy_ = kDeny;
};

}  // namespace Brae
