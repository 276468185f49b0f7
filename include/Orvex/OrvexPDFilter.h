#pragma once

/// One ternary entry of an ACL as the chip gets it: a label and a mask for each field of the key.

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <tuple>

#include "Kiv/Enumeration.h"
#include "Orvex/OrvexGenSetValues.h"
#include "Vell/AddressFamily.h"

namespace Orvex {

using Kiv::TextForm::operator<<;

/// What a label is written for.
enum class TcamFieldType : std::uint32_t {
  tcamFieldTypeNone,
  tcamFieldTypeSrcIp,
  tcamFieldTypeDstIp,
  tcamFieldTypeSrcDstIp,
  tcamFieldTypeSrcPort,
  tcamFieldTypeDstPort,
  tcamFieldTypeSrcDstPort,
  tcamFieldTypeIcmp,
  tcamFieldTypeProto,
  tcamFieldTypeLength,
  tcamFieldTypeFragOffset,
  tcamFieldTypeDscp,
  tcamFieldTypeTtl,
  tcamFieldTypeMatchTcpInit,
  tcamFieldTypeMatchTcpEstablished
};

inline constexpr std::array<std::string_view, 15> kTcamFieldTypeNames = {
    "tcamFieldTypeNone",       "tcamFieldTypeSrcIp",        "tcamFieldTypeDstIp",
    "tcamFieldTypeSrcDstIp",   "tcamFieldTypeSrcPort",      "tcamFieldTypeDstPort",
    "tcamFieldTypeSrcDstPort", "tcamFieldTypeIcmp",         "tcamFieldTypeProto",
    "tcamFieldTypeLength",     "tcamFieldTypeFragOffset",   "tcamFieldTypeDscp",
    "tcamFieldTypeTtl",        "tcamFieldTypeMatchTcpInit", "tcamFieldTypeMatchTcpEstablished" };
static_assert( kTcamFieldTypeNames.size() == Kiv::enumValue( TcamFieldType::tcamFieldTypeMatchTcpEstablished ) + 1 );
constexpr std::span<std::string_view const> enumNames( TcamFieldType ) { return kTcamFieldTypeNames; }
inline TcamFieldType TcamFieldTypeInstance( Kiv::String const& name ) {
  return Kiv::enumInstance<TcamFieldType>( name );
}

/// A field that is left out of the match has label 0 and mask 0; with all of them left out, the entry matches everything.
struct PDAclFilter {
  static constexpr std::string_view kTypeName = "Orvex::PDAclFilter";
  static constexpr std::size_t kFields = 14;

  static constexpr auto fields() {
    using Filter = PDAclFilter;
    return std::tuple( Kiv::Field( "source", &Filter::source ), Kiv::Field( "destination", &Filter::destination ),
                       Kiv::Field( "prefixCombo", &Filter::prefixCombo ), Kiv::Field( "sport", &Filter::sport ),
                       Kiv::Field( "dport", &Filter::dport ), Kiv::Field( "portCombo", &Filter::portCombo ),
                       Kiv::Field( "icmpType", &Filter::icmpType ), Kiv::Field( "proto", &Filter::proto ),
                       Kiv::Field( "length", &Filter::length ), Kiv::Field( "fragment", &Filter::fragment ),
                       Kiv::Field( "dscp", &Filter::dscp ), Kiv::Field( "ttl", &Filter::ttl ),
                       Kiv::Field( "headFragment", &Filter::headFragment ), Kiv::Field( "tcpFlag", &Filter::tcpFlag ) );
  }

  PDAclFilter() noexcept = default;
  /// All fields, in order.
  template <class... Entries>
  requires( sizeof...( Entries ) == kFields ) explicit PDAclFilter( Entries const&... entries ) noexcept {
    std::array<EncodedLabelWithMask, kFields> const given{ entries... };
    std::size_t next = 0;
    std::apply( [&]( auto const&... field ) { ( ( this->*field.getter = given[next++] ), ... ); }, fields() );
  }

  std::uint32_t hash() const noexcept {
    Kiv::IncrementalHash hash;
    std::apply( [&]( auto const&... field ) { ( addTo( hash, this->*field.getter ), ... ); }, fields() );
    return hash.result();
  }
  friend auto operator<=>( PDAclFilter const&, PDAclFilter const& ) = default;

  EncodedLabelWithMask source;
  EncodedLabelWithMask destination;
  EncodedLabelWithMask prefixCombo;
  EncodedLabelWithMask sport;
  EncodedLabelWithMask dport;
  EncodedLabelWithMask portCombo;
  EncodedLabelWithMask icmpType;
  EncodedLabelWithMask proto;
  EncodedLabelWithMask length;
  EncodedLabelWithMask fragment;
  EncodedLabelWithMask dscp;
  EncodedLabelWithMask ttl;
  EncodedLabelWithMask headFragment;
  EncodedLabelWithMask tcpFlag;

 private:
  static void addTo( Kiv::IncrementalHash& hash, EncodedLabelWithMask const& entry ) noexcept {
    hash.add( std::uint32_t{ entry.mask.value() } << 16 | entry.label.value() );
  }
};
static_assert( sizeof( PDAclFilter ) == 56 );

/// Names an ACL among those of both families.
struct PDAclKey {
  static constexpr std::string_view kTypeName = "Orvex::PDAclKey";
  static constexpr auto fields() {
    return std::tuple( Kiv::Field( "af", &PDAclKey::af ), Kiv::Field( "aclName", &PDAclKey::aclName ) );
  }

  PDAclKey( Vell::AddressFamily family, Kiv::String name ) noexcept : af( family ), aclName( std::move( name ) ) {}

  std::uint32_t hash() const noexcept { return Kiv::IncrementalHash().add( af ).add( aclName.hash() ).result(); }
  friend auto operator<=>( PDAclKey const&, PDAclKey const& ) = default;

  Vell::AddressFamily af;
  Kiv::String aclName;
};

}  // namespace Orvex
