#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "Orvex/OrvexAggregatorSm.h"
#include "Orvex/OrvexComboLabelResolverSm.h"
#include "orvex/TestChip.h"
#include "orvex/TestSets.h"

namespace Orvex {
namespace {

using Test::piecesText;
using Test::prefixesIn;
using Test::rangesIn;
using Vell::AddressFamily;

/// A chip of which the stages from the policy to the labels of combinations are looked at.
class Pipeline {
 public:
  explicit Pipeline( Kiv::Ptr<AclConfigColl> const& policy ) {
    chip_.policy = policy;
    EncodingAttr const wide( 16, EncodedLabel( 0 ) );
    for ( auto const type : kPortTypes ) chip_.capability->rangeEncodingAttrIs( type, wide );
    for ( auto const type : kComboTypes ) chip_.capability->comboEncodingAttrIs( type, wide );
    chip_.build();
    auto const stages = chip_.root->stageSmStatus();
    aggregator_ = Kiv::ptrCast<AggregatorStatus const>( stages->aggregatorStatus() );
    stages_.emplace_back( aggregator_ );
    for ( auto const af : { AddressFamily::ipv4, AddressFamily::ipv6 } )
      for ( bool const src : { true, false } )
        addXform<PrefixXformStatus const>( stages->prefixXformStatus().find( PrefixXformKey( af, src ) ),
                                           &PrefixXformStatus::prefixToLabelMap );
    for ( auto const type : kPortTypes )
      addXform<RangeSplitStatus const>( stages->rangeSplitStatus().find( type ),
                                        &RangeSplitStatus::rangeToPlainLabelMap );
    for ( auto const type : kComboTypes ) {
      auto const resolved =
          Kiv::ptrCast<ComboLabelResolverStatus const>( stages->comboLabelResolverStatus().find( type ) );
      stages_.emplace_back( resolved );
      combos_.emplace_back( resolved->comboLabelInfo() );
      addXform<ComboLabelSplitStatus const>( stages->comboLabelSplitStatus().find( type ),
                                             &ComboLabelSplitStatus::comboToPlainLabelMap );
    }
  }

  /// How each stage ended.
  std::vector<StageStatusType> kick() {
    chip_.kick();
    chip_.run();
    EXPECT_EQ( OrvexProgress::orvexFinishedSuccess, chip_.rootStatus->kickProgress() );
    std::vector<StageStatusType> results;
    for ( auto const& stage : stages_ ) results.push_back( stage->status() );
    return results;
  }

  /// All that later stages read, keys of sets resolved: the pieces with their labels, and for each rule the labels of its
  /// sets. Labels are numbered by the order of the pieces, so that equal policies have equal texts whatever came before.
  std::map<std::string, std::string> results() const {
    std::map<std::string, std::string> texts;
    for ( std::size_t xform = 0; xform != pieces_.size(); ++xform )
      texts["pieces " + std::to_string( xform )] = pieces_[xform]();
    for ( auto list = aggregator_->aclGenSetIpRuleList().begin(); list; ++list )
      for ( auto rule = list.value()->genSetIpRule().begin(); rule; ++rule )
        for ( std::size_t xform = 0; xform != xforms_.size(); ++xform ) {
          std::string const place = std::string( list.key().view() ) + "/" + std::string( rule.key().view() );
          texts[place + "/" + std::to_string( xform )] = ruleLabels( xform, *list.value(), *rule.value() );
        }
    return texts;
  }

 private:
  static constexpr std::array kPortTypes = { RangeSetType::srcPort, RangeSetType::dstPort };
  static constexpr std::array kComboTypes = { ComboLabelSetType::ipv4SrcDstPrefix, ComboLabelSetType::ipv6SrcDstPrefix,
                                              ComboLabelSetType::srcDstL4Port };

  template <class Status, class Pieces>
  void addXform( Kiv::Ptr<StageStatus const> const& stage, Pieces const& pieces ) {
    auto const status = Kiv::ptrCast<Status>( stage );
    stages_.emplace_back( status );
    xforms_.emplace_back( status );
    pieces_.emplace_back( [=] { return piecesText( std::invoke( pieces, *status ) ); } );
  }

  /// The rule's set that a transform labels.
  GenSetKey keyOf( std::size_t xform, AclGenSetIpRuleList const& list, GenSetIpRule const& rule ) const {
    bool const isIpv4 = list.af() == AddressFamily::ipv4;
    switch ( xform ) {
      case 0:
      case 2:
        return ( xform == 0 ) == isIpv4 ? rule.source() : GenSetKey();
      case 1:
      case 3:
        return ( xform == 1 ) == isIpv4 ? rule.destination() : GenSetKey();
      case 4:
        return rule.sport();
      case 5:
        return rule.dport();
      default: {
        std::size_t const combo = xform - 6;
        GenSetKeyPair const pair( keyOf( 2 * combo, list, rule ), keyOf( 2 * combo + 1, list, rule ) );
        return combos_[combo]->srcDstToComboMap().find( pair ).value_or( GenSetKey() );
      }
    }
  }
  std::string ruleLabels( std::size_t xform, AclGenSetIpRuleList const& list, GenSetIpRule const& rule ) const {
    GenSetKey const key = keyOf( xform, list, rule );
    if ( key == GenSetKey() ) return "no set";
    auto const labels = xforms_[xform]->plainLabelListMap()->plainLabelList().find( key );
    if ( !labels ) return "no list";
    std::ostringstream text;
    for ( PlainLabel const label : labels->label() ) text << label.value() << ' ';
    return text.str();
  }

  Test::TestChip chip_;
  std::vector<Kiv::Ptr<StageStatus const>> stages_;
  Kiv::Ptr<AggregatorStatus const> aggregator_;
  std::vector<Kiv::Ptr<XformStatus const>>
      xforms_;  // source and destination of IPv4, IPv6 and ports, and combinations of these
  std::vector<std::function<std::string()>> pieces_;  // of the transforms
  std::vector<Kiv::Ptr<ComboLabelInfo const>> combos_;
};

/// A policy of an ACL in each family whose rules share lists and ports, under random edits.
class EditedPolicy {
 public:
  explicit EditedPolicy( std::uint32_t seed ) : random_( seed ) {
    for ( auto& lists : lists_ )
      for ( auto& list : lists ) list = Kiv::make<IpPrefixList>();
    for ( std::size_t family = 0; family != 2; ++family )
      for ( auto const& list : lists_[family] ) editList( *list, family );
  }

  void edit() {
    std::size_t const family = random_() % 2;
    auto const acl = policy->aclIs( family == 0 ? "four" : "six" );
    auto const index = static_cast<std::uint32_t>( random_() % 5 );
    std::string const name = std::to_string( index );
    auto const list = lists_[family][random_() % 4];
    switch ( random_() % 8 ) {
      case 0:
        acl->ruleByNameDel( name );
        acl->ruleByIdDel( AceIndex( index ) );
        return;
      case 1:
        return editList( *list, family );
      default:
        break;
    }
    auto const rule = acl->ruleByNameIs( name );
    acl->ruleByIdIs( AceIndex( index ), rule );
    auto const filter = rule->ruleFilterIs();
    if ( random_() % 2 == 0 ) filter->sourceIs( list );
    if ( random_() % 2 == 0 ) filter->destinationIs( lists_[family][random_() % 4] );
    if ( random_() % 4 == 0 ) filter->destinationDel();
    if ( random_() % 2 == 0 ) return;
    filter->sportRangeDelAll();
    for ( auto const& range : anyPorts() ) filter->sportRangeIs( range );
    filter->dportRangeDelAll();
    for ( auto const& range : anyPorts() ) filter->dportRangeIs( range );
  }

  Kiv::Ptr<AclConfigColl> policy = Kiv::make<AclConfigColl>( Brae::ChipId( 7 ) );

 private:
  /// Never leaves a list empty.
  void editList( IpPrefixList& list, std::size_t family ) {
    static auto const kPrefixes = std::array{
        prefixesIn( "0.0.0.0/0 10.0.0.0/8 10.1.0.0/16 10.1.2.0/24 10.1.2.3/32 11.0.0.0/8 255.255.255.255/32" ).own,
        prefixesIn( "::/0 ::/128 2001:db8::/32 2001:db8:1::/48 2001:db8:1::1/128 ffff::/16" ).own };
    auto const any = [&] { return kPrefixes[family][random_() % kPrefixes[family].size()]; };
    list.addrDel( any() );
    list.exceptAddrDel( any() );
    random_() % 3 == 0 ? list.exceptAddrIs( any() ) : list.addrIs( any() );
  }
  std::vector<L4PortRange> anyPorts() {
    static constexpr std::array kPorts = { "",       "0-65535", "80",      "80-90 443",
                                           "85-100", "65535",   "0 65535", "1-79 81-90" };
    std::vector<L4PortRange> result;
    for ( RangeSetElem const& range : rangesIn( kPorts[random_() % kPorts.size()] ) )
      result.emplace_back( range.first(), range.last() );
    return result;
  }

  std::mt19937 random_;
  std::array<std::array<Kiv::Ptr<IpPrefixList>, 4>, 2> lists_;
};

TEST( XformEdits, EndInWhatAFreshPipelineMakes ) {
  std::map<StageStatusType, int> ends;
  for ( std::uint32_t seed = 1; seed <= 100 && !HasFailure(); ++seed ) {
    EditedPolicy edited( seed );
    Pipeline pipeline( edited.policy );
    for ( std::uint32_t kick = 0; kick != 12; ++kick ) {
      SCOPED_TRACE( testing::Message() << "seed " << seed << ", kick " << kick );
      for ( std::uint32_t edits = kick % 4; edits != 0; --edits ) edited.edit();
      for ( StageStatusType const end : pipeline.kick() ) ++ends[end];
      Pipeline fresh( edited.policy );
      for ( StageStatusType const end : fresh.kick() ) EXPECT_NE( StageStatusType::finishedFailed, end );
      ASSERT_EQ( fresh.results(), pipeline.results() );
    }
  }
  EXPECT_EQ( 2U, ends.size() );
  EXPECT_GT( ends[StageStatusType::finishedSkipped], 1000 );
  EXPECT_GT( ends[StageStatusType::finishedSuccess], 1000 );
}

}  // namespace
}  // namespace Orvex
