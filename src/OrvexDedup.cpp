#include "Orvex/OrvexDedup.h"

namespace Orvex {

namespace {

constexpr std::string_view kNotImplemented = "false && \"Not implemented\"";

}  // namespace

std::uint32_t Dedupable::hash() const { Kiv::fatal( kNotImplemented ); }

bool Dedupable::isEqual( Kiv::Ptr<Dedupable const> const& /*other*/ ) const { Kiv::fatal( kNotImplemented ); }

}  // namespace Orvex
