#pragma once

/// Sets in short notation, transforms that are kicked by hand, and what must hold for every transform's labels.

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Orvex/OrvexComboLabelSplitSm.h"
#include "Orvex/OrvexPrefixXformSm.h"
#include "Orvex/OrvexRangeSplitSm.h"
#include "orvex/TestPolicy.h"

namespace Orvex::Test {

/// "10-20 30"
inline std::vector<RangeSetElem> rangesIn( std::string const& text ) {
  std::vector<RangeSetElem> result;
  for ( auto const& [first, last] : numberRangesIn( text ) )
    result.emplace_back( static_cast<std::uint16_t>( first ), static_cast<std::uint16_t>( last ) );
  return result;
}

/// A stage with a config of its own. The number of a kick is its time.
template <class Config, class Status, class Machine>
struct Stage {
  Kiv::Ptr<Config> config;
  Kiv::Ptr<Status> status;
  Kiv::Ptr<ChipHwCapability> capability = Kiv::make<ChipHwCapability>( Brae::ChipId( 1 ) );
  Kiv::Ptr<Machine> machine;

  StageStatusType kick() {
    machine->hasNotificationActiveIs( true );
    config->kickTimeIs( config->kickTime() + 1 );
    EXPECT_EQ( config->kickTime(), status->kickTime() );
    return status->status();
  }
};

struct PrefixStage : Stage<PrefixXformConfig, PrefixXformStatus, OrvexPrefixXformSm> {
  explicit PrefixStage( std::uint32_t width = 16, Vell::AddressFamily af = Vell::AddressFamily::ipv4 )
      : key( af, true ), info( Kiv::make<PrefixAggregatorInfo>( key ) ) {
    config = Kiv::make<PrefixXformConfig>( key, info );
    status = Kiv::make<PrefixXformStatus>( key );
    capability->prefixEncodingAttrIs( key, EncodingAttr( width, EncodedLabel( 0 ) ) );
    machine = Kiv::make<OrvexPrefixXformSm>( Brae::ChipId( 1 ), config, status, capability, key );
  }
  void add( std::uint64_t setKey, Prefixes const& content ) const {
    auto const set = info->prefixSetCollIs( GenSetKey( setKey ) );
    set->prefixIs( content.own );
    set->exceptPrefixIs( content.excepted );
  }
  void add( std::uint64_t setKey, std::string const& content ) const { add( setKey, prefixesIn( content ) ); }
  void remove( std::uint64_t setKey ) const { info->prefixSetCollDel( GenSetKey( setKey ) ); }
  auto const& pieces() const { return status->prefixToLabelMap(); }

  PrefixXformKey key;
  Kiv::Ptr<PrefixAggregatorInfo> info;
};

struct RangeStage : Stage<RangeSplitConfig, RangeSplitStatus, RangeSplitSm> {
  static constexpr auto kType = RangeSetType::dstPort;

  explicit RangeStage( std::uint32_t width = 16 ) {
    config = Kiv::make<RangeSplitConfig>( kType, info );
    status = Kiv::make<RangeSplitStatus>( kType );
    capability->rangeEncodingAttrIs( kType, EncodingAttr( width, EncodedLabel( 0 ) ) );
    machine = Kiv::make<RangeSplitSm>( Brae::ChipId( 1 ), config, status, capability, kType );
  }
  void add( std::uint64_t setKey, std::vector<RangeSetElem> const& content ) const {
    info->rangeSetCollIs( GenSetKey( setKey ), kType )->rangeIs( content );
  }
  void add( std::uint64_t setKey, std::string const& content ) const { add( setKey, rangesIn( content ) ); }
  void remove( std::uint64_t setKey ) const { info->rangeSetCollDel( GenSetKey( setKey ) ); }
  auto const& pieces() const { return status->rangeToPlainLabelMap(); }

  Kiv::Ptr<RangeSplitAggregatorInfo> info = Kiv::make<RangeSplitAggregatorInfo>( kType );
};

struct ComboStage : Stage<ComboLabelSplitConfig, ComboLabelSplitStatus, ComboLabelSplitSm> {
  static constexpr auto kType = ComboLabelSetType::srcDstL4Port;

  explicit ComboStage( std::uint32_t width = 16, Kiv::Ptr<ComboLabelInfo> const& combos = nullptr )
      : info( combos ? combos : Kiv::make<ComboLabelInfo>( kType ) ) {
    config = Kiv::make<ComboLabelSplitConfig>( kType, info );
    status = Kiv::make<ComboLabelSplitStatus>( kType );
    capability->comboEncodingAttrIs( kType, EncodingAttr( width, EncodedLabel( 0 ) ) );
    machine = Kiv::make<ComboLabelSplitSm>( Brae::ChipId( 1 ), config, status, capability, kType );
  }
  Kiv::Ptr<ComboLabelSet> set( std::uint64_t setKey ) const {
    return info->comboLabelSetCollIs( GenSetKey( setKey ), kType );
  }
  void remove( std::uint64_t setKey ) const { info->comboLabelSetCollDel( GenSetKey( setKey ) ); }
  auto const& pieces() const { return status->comboToPlainLabelMap(); }

  Kiv::Ptr<ComboLabelInfo> info;
};

/// Keys of sets.
using Sets = std::set<std::uint64_t>;

inline void print( std::ostream& out, Vell::IpGenPrefix const& prefix ) { out << prefix; }
inline void print( std::ostream& out, RangeSetElem const& range ) { out << range.first() << '-' << range.last(); }
inline void print( std::ostream& out, GenCombo const& pair ) {
  out << pair.srcLabel.value() << '*' << pair.dstLabel.value();
}

/// "10-14=1 15-20=2"
template <class Pieces>
std::string piecesText( Pieces const& pieces ) {
  std::ostringstream out;
  for ( auto const& [piece, label] : pieces ) {
    if ( out.tellp() != 0 ) out << ' ';
    print( out, piece );
    out << '=' << label.value();
  }
  return out.str();
}

inline std::map<std::uint64_t, std::set<std::uint32_t>> labelsOfSets( XformStatus const& status ) {
  std::map<std::uint64_t, std::set<std::uint32_t>> result;
  for ( auto list = status.plainLabelListMap()->plainLabelList().begin(); list; ++list ) {
    EXPECT_EQ( list.key(), list.value()->key() );
    for ( PlainLabel const label : list.value()->label() ) result[list.key().value()].insert( label.value() );
  }
  return result;
}

/// Checks the labels of all pieces against `setsOf( piece )`, the sets that contain the piece by their meaning: equal groups
/// are equal labels, labels run from 1 in the order of the pieces, and a set lists the labels of its pieces. Returns the group
/// that each label stands for.
template <class Pieces, class SetsOf>
std::map<std::uint32_t, Sets> checkedGroups( Pieces const& pieces, SetsOf const& setsOf, XformStatus const& status ) {
  std::map<std::uint32_t, Sets> groups;
  std::map<Sets, std::uint32_t> labels;
  std::map<std::uint64_t, std::set<std::uint32_t>> lists;
  for ( auto const& [piece, label] : pieces ) {
    Sets const sets = setsOf( piece );
    if ( groups.count( label.value() ) == 0 ) {
      EXPECT_EQ( groups.size() + 1, label.value() ) << "labels are out of order";
    }
    EXPECT_EQ( sets, groups.emplace( label.value(), sets ).first->second ) << "pieces that differ share a label";
    EXPECT_EQ( label.value(), labels.emplace( sets, label.value() ).first->second ) << "equal pieces have two labels";
    for ( std::uint64_t const key : sets ) lists[key].insert( label.value() );
  }
  EXPECT_EQ( lists, labelsOfSets( status ) );
  return groups;
}

}  // namespace Orvex::Test
