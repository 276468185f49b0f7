#include "Orvex/OrvexRuleExpanderSm.h"

#include <algorithm>

#include "Kiv/Trace.h"

namespace Orvex {

namespace {

Kiv::TraceHandle traceHandle( "OrvexRuleExpanderSm" );

template <class... Parts>
std::string composed( Parts const&... parts ) {
  Kiv::TextStream text;
  ( text << ... << parts );
  return text.str();
}

EncodedLabelWithMask flagBits( std::uint8_t label, std::uint8_t mask ) {
  return { EncodedLabel( label ), LabelMask( mask ) };
}

/// TCP flags are matched as they are: SYN set and ACK clear; ACK set, or RST set.
Kiv::Ptr<EncodedLabelWithMaskList> tcpFlagsList( TcamFieldType fieldType ) {
  Kiv::fatalUnless( fieldType == TcamFieldType::tcamFieldTypeMatchTcpInit ||
                        fieldType == TcamFieldType::tcamFieldTypeMatchTcpEstablished,
                    "fieldType == tcamFieldTypeMatchTcpInit_ || fieldType == tcamFieldTypeMatchTcpEstablished_" );
  auto list = Kiv::make<EncodedLabelWithMaskList>( GenSetKey() );
  if ( fieldType == TcamFieldType::tcamFieldTypeMatchTcpInit ) {
    list->encLabelAndMaskIs( flagBits( Constants::tcpFlagSyn, Constants::tcpFlagSyn | Constants::tcpFlagAck ) );
  } else {
    list->encLabelAndMaskIs( flagBits( Constants::tcpFlagAck, Constants::tcpFlagAck ) );
    list->encLabelAndMaskIs( flagBits( Constants::tcpFlagRst, Constants::tcpFlagRst ) );
  }
  return list;
}

/// Where a field's labels are written, and whether the entry then demands the head fragment.
struct FieldPlace {
  EncodedLabelWithMask PDAclFilter::*field;
  bool headFragment;
};

FieldPlace placeOf( TcamFieldType fieldType ) {
  switch ( fieldType ) {
    case TcamFieldType::tcamFieldTypeSrcIp:
      return { &PDAclFilter::source, false };
    case TcamFieldType::tcamFieldTypeDstIp:
      return { &PDAclFilter::destination, false };
    case TcamFieldType::tcamFieldTypeSrcDstIp:
      return { &PDAclFilter::prefixCombo, false };
    case TcamFieldType::tcamFieldTypeSrcPort:
      return { &PDAclFilter::sport, true };
    case TcamFieldType::tcamFieldTypeDstPort:
      return { &PDAclFilter::dport, true };
    case TcamFieldType::tcamFieldTypeSrcDstPort:
      return { &PDAclFilter::portCombo, true };
    case TcamFieldType::tcamFieldTypeIcmp:
      return { &PDAclFilter::icmpType, true };
    case TcamFieldType::tcamFieldTypeProto:
      return { &PDAclFilter::proto, false };
    case TcamFieldType::tcamFieldTypeLength:
      return { &PDAclFilter::length, false };
    case TcamFieldType::tcamFieldTypeFragOffset:
      return { &PDAclFilter::fragment, false };
    case TcamFieldType::tcamFieldTypeDscp:
      return { &PDAclFilter::dscp, false };
    case TcamFieldType::tcamFieldTypeTtl:
      return { &PDAclFilter::ttl, false };
    case TcamFieldType::tcamFieldTypeMatchTcpInit:
    case TcamFieldType::tcamFieldTypeMatchTcpEstablished:
      return { &PDAclFilter::tcpFlag, true };
    case TcamFieldType::tcamFieldTypeNone:
      break;
  }
  Kiv::fatal( "false && \"Invalid tcam field\"" );
}

void tcamEntryFieldIs( PDAclFilter& filter, FieldPlace const& place, EncodedLabelWithMask const& entry ) {
  filter.*place.field = entry;
  if ( place.headFragment ) filter.headFragment = flagBits( 1, 1 );
}

/// The list of a key; null without one.
template <class Statuses>
Kiv::Ptr<EncodedLabelWithMaskList const> listOf( Statuses const& statuses, typename Statuses::Key const& type,
                                                 GenSetKey key ) {
  auto const status = statuses.find( type );
  return status ? status->encodedLabelList().find( key ) : nullptr;
}

}  // namespace

/// Why a rule cannot be expanded, in words for the operator, without the rule's name.
class RuleExpanderSm::RuleError : public Kiv::Exception {
 public:
  using Exception::Exception;
};

// A kick

RuleExpanderSm::RuleExpanderSm( Brae::ChipId chipId, Kiv::Ptr<RuleExpanderConfig const> const& config,
                                Kiv::Ptr<RuleExpanderStatus> const& status )
    : StageSm( chipId, config, status ),
      expanderStatus_( status ),
      traceKey_( composed( "RuleExpanderSm(", chipId, ")::" ) ) {}

Kiv::Ptr<RuleExpanderConfig const> RuleExpanderSm::expanderConfig() const {
  return Kiv::ptrCast<RuleExpanderConfig const>( config() );
}

void RuleExpanderSm::doStartKick() {
  traceHandle.trace( 8, traceKey_, "doStartKick" );
  dumpRuleExpanderConfig();
  doCleanSm();
  bool const expanded = doBuildExpandedRules();
  dumpRuleExpanderStatus();
  doSetStatus( expanded ? StageStatusType::finishedSuccess : StageStatusType::finishedFailed );
}

void RuleExpanderSm::doCleanSm() {
  traceHandle.trace( 8, traceKey_, "doCleanSm" );
  expanderStatus_->ruleExpanderLoaderInfo()->pdAclDelAll();
  keptFilters_ = 0;
}

/// False when a rule cannot be expanded. What has been built until then is dropped: it is not the policy.
bool RuleExpanderSm::doBuildExpandedRules() {
  traceHandle.trace( 8, traceKey_, "doBuildExpandedRules" );
  auto const& lists = expanderConfig()->aggregatorStatus()->aclGenSetIpRuleList();
  auto const& output = expanderStatus_->ruleExpanderLoaderInfo();
  try {
    for ( auto list = lists.begin(); list; ++list ) {
      Vell::AddressFamily const af = list.value()->af();
      Kiv::fatalUnless( af == Vell::AddressFamily::ipv4 || af == Vell::AddressFamily::ipv6,
                        "af == Vell::ipv4() || af == Vell::ipv6()" );
      auto const rules = output->pdAclIs( PDAclKey( af, list.key() ) );
      expandAcl( *list.value(), *rules );
      traceHandle.trace( 6, traceKey_, " policy: ", list.key(), " resulted in ", rules->numFilters(), " tcam entries" );
    }
  } catch ( RuleError const& error ) {
    traceHandle.trace( 0, traceKey_, "doBuildExpandedRules: ", error.what() );
    ruleFilterDelAll();
    ruleFilterDeduper_.clear();
    output->pdAclDelAll();
    return false;
  }
  ruleFilterDeduper_.clear();
  return true;
}

void RuleExpanderSm::expandAcl( AclGenSetIpRuleList const& list, PDAclRuleColl& rules ) {
  rules.ruleDelAll();
  ruleFilterDelAll();
  ruleFilterDeduper_.clear();
  for ( auto entry = list.genSetIpRuleById().begin(); entry; ++entry ) {
    auto const rule = entry.value();
    try {
      auto const fields = fieldsOf( *rule, list.af() );
      if ( canMatch( fields ) ) {
        checkLimit( fields );
        expandRule( fields );
      }
    } catch ( RuleError const& error ) {
      throw RuleError( composed( "ACL ", list.name(), ", rule ", rule->name(), ": ", error.what() ) );
    }
    auto const expanded = rules.ruleIs( entry.key() );
    expanded->actionIs( rule->action() );
    keepFilters( rules.key(), *expanded );
  }
}

/// False when a list is empty, and so the product, however long the other lists are.
bool RuleExpanderSm::canMatch( std::vector<Field> const& fields ) {
  return std::none_of( fields.begin(), fields.end(),
                       []( Field const& field ) { return field.list->encLabelAndMask().empty(); } );
}

/// Leaves the rule's entries in the queue.
void RuleExpanderSm::expandRule( std::vector<Field> const& fields ) {
  Kiv::fatalUnless( ruleFilters() == 0, "ruleFilters() == 0" );
  ruleFilter_.nextIndexIs( 0 );  // or the indices could run out in the middle of a rule
  ruleFilterEnq( PDAclFilter() );
  for ( Field const& field : fields ) buildTcamEntry( field.type, field.list->encLabelAndMask() );
}

void RuleExpanderSm::buildTcamEntry( TcamFieldType fieldType, Kiv::SortedSet<EncodedLabelWithMask> const& list ) {
  Kiv::fatalUnless( ruleFilters() != 0, "ruleFilters()" );
  FieldPlace const place = placeOf( fieldType );
  ruleFilter_.reserve( ruleFilters() * list.size() );
  for ( std::size_t count = ruleFilters(); count != 0; --count ) {
    PDAclFilter filter = ruleFilterDeq();
    for ( EncodedLabelWithMask const& entry : list ) {
      tcamEntryFieldIs( filter, place, entry );
      ruleFilterEnq( filter );
    }
  }
}

/// Moves the queue's entries to the rule, but for those that an earlier rule of the ACL has.
void RuleExpanderSm::keepFilters( PDAclKey const& key, PDAclRule& rule ) {
  std::vector<PDAclFilter> kept;
  kept.reserve( ruleFilters() );
  while ( ruleFilters() != 0 ) {
    kept.push_back( ruleFilterDeq() );
    if ( ruleFilterDeduper_.insert( FilterRef{ &kept.back() } ) ) continue;
    traceHandle.trace( 6, traceKey_, " Deduping filter with key: ", key, ", filter: ", kept.back() );
    kept.pop_back();
  }
  // The deduper holds addresses: the entries ascend, as the lists do, and so stay where they are.
  Kiv::fatalUnless( std::is_sorted( kept.begin(), kept.end() ), "a rule's entries come in ascending order" );
  if ( kept.size() != kept.capacity() ) fitToSize( kept );
  keptFilters_ += kept.size();
  rule.filterIs( std::move( kept ) );
}

/// Gives back the room of the entries that were dropped: the limit counts only those that are kept.
void RuleExpanderSm::fitToSize( std::vector<PDAclFilter>& kept ) {
  for ( PDAclFilter const& filter : kept ) ruleFilterDeduper_.erase( FilterRef{ &filter } );
  kept.shrink_to_fit();
  for ( PDAclFilter const& filter : kept ) ruleFilterDeduper_.insert( FilterRef{ &filter } );
}

void RuleExpanderSm::checkLimit( std::vector<Field> const& fields ) const {
  std::uint64_t const limit = expanderConfig()->maxAclEntries();
  if ( limit == 0 ) return;
  __extension__ using Wide = unsigned __int128;
  Wide product = 1;
  for ( Field const& field : fields ) {
    product *= field.list->encLabelAndMask().size();
    if ( product > ~std::uint64_t{ 0 } )
      throw RuleError( composed( "the rule takes more than ", ~std::uint64_t{ 0 }, " entries; ", limit,
                                 " are allowed over all ACLs" ) );
  }
  if ( keptFilters_ + product > limit )
    throw RuleError( composed( "the rule takes ", static_cast<std::uint64_t>( product ), " entries beside ",
                               keptFilters_, " of the rules before it; ", limit, " are allowed over all ACLs" ) );
}

// A rule's fields

std::vector<RuleExpanderSm::Field> RuleExpanderSm::fieldsOf( GenSetIpRule const& rule, Vell::AddressFamily af ) const {
  std::vector<Field> fields;
  buildSrcDstIpField( rule.source(), rule.destination(), af, fields );
  buildSrcDstL4PortField( rule.sport(), rule.dport(), fields );
  buildRangeField( TcamFieldType::tcamFieldTypeIcmp, RangeSetType::icmp, rule.icmpType(), fields );
  buildRangeField( TcamFieldType::tcamFieldTypeProto, RangeSetType::proto, rule.proto(), fields );
  buildRangeField( TcamFieldType::tcamFieldTypeLength, RangeSetType::length, rule.length(), fields );
  buildRangeField( TcamFieldType::tcamFieldTypeFragOffset, RangeSetType::fragment, rule.fragment(), fields );
  buildRangeField( TcamFieldType::tcamFieldTypeDscp, RangeSetType::dscp, rule.dscp(), fields );
  buildRangeField( TcamFieldType::tcamFieldTypeTtl, RangeSetType::ttl, rule.ttl(), fields );
  for ( auto const type :
        { TcamFieldType::tcamFieldTypeMatchTcpEstablished, TcamFieldType::tcamFieldTypeMatchTcpInit } )
    if ( type == TcamFieldType::tcamFieldTypeMatchTcpInit ? rule.matchTcpInit() : rule.matchTcpEstablished() )
      fields.push_back( { type, tcpFlagsList( type ) } );
  return fields;
}

void RuleExpanderSm::buildSrcDstIpField( GenSetKey srcKey, GenSetKey dstKey, Vell::AddressFamily af,
                                         std::vector<Field>& fields ) const {
  auto const comboType =
      af == Vell::AddressFamily::ipv4 ? ComboLabelSetType::ipv4SrcDstPrefix : ComboLabelSetType::ipv6SrcDstPrefix;
  if ( buildComboField( TcamFieldType::tcamFieldTypeSrcDstIp, comboType, { srcKey, dstKey }, fields ) ) return;
  buildPrefixField( TcamFieldType::tcamFieldTypeSrcIp, PrefixXformKey( af, true ), srcKey, fields );
  buildPrefixField( TcamFieldType::tcamFieldTypeDstIp, PrefixXformKey( af, false ), dstKey, fields );
}

void RuleExpanderSm::buildSrcDstL4PortField( GenSetKey sportKey, GenSetKey dportKey,
                                             std::vector<Field>& fields ) const {
  if ( buildComboField( TcamFieldType::tcamFieldTypeSrcDstPort, ComboLabelSetType::srcDstL4Port, { sportKey, dportKey },
                        fields ) )
    return;
  buildRangeField( TcamFieldType::tcamFieldTypeSrcPort, RangeSetType::srcPort, sportKey, fields );
  buildRangeField( TcamFieldType::tcamFieldTypeDstPort, RangeSetType::dstPort, dportKey, fields );
}

/// False when the pair is not combined.
bool RuleExpanderSm::buildComboField( TcamFieldType fieldType, ComboLabelSetType type, GenSetKeyPair const& keys,
                                      std::vector<Field>& fields ) const {
  if ( keys.src == GenSetKey() || keys.dst == GenSetKey() ) return false;
  auto const info = expanderConfig()->comboLabelInfo().find( type );
  auto const comboKey = info ? info->srcDstToComboMap().find( keys ) : std::nullopt;
  if ( !comboKey ) return false;
  traceHandle.trace( 6, traceKey_, " comboGenSetKey:", comboKey->value() );
  auto list = listOf( expanderConfig()->comboLabelEncoderStatus(), type, *comboKey );
  if ( !list ) {
    auto const set = info->comboLabelSetColl().find( *comboKey );
    if ( !set || set->size() != 0 )
      throw RuleError(
          composed( type, ": combination set ", comboKey->value(), " is not empty and has no encoded labels" ) );
    list = Kiv::make<EncodedLabelWithMaskList>( *comboKey );
  }
  fields.push_back( { fieldType, list } );
  return true;
}

void RuleExpanderSm::buildPrefixField( TcamFieldType fieldType, PrefixXformKey space, GenSetKey key,
                                       std::vector<Field>& fields ) const {
  if ( key == GenSetKey() ) return;
  auto list = listOf( expanderConfig()->prefixEncoderStatus(), space, key );
  if ( !list ) {
    auto const info = expanderConfig()->aggregatorStatus()->prefixInfo().find( space );
    auto const set = info ? info->prefixSetColl().find( key ) : nullptr;
    if ( !set || !set->prefix().empty() )
      throw RuleError( composed( space.src() ? "source" : "destination", ": prefix set ", key.value(),
                                 " is not empty and has no encoded labels" ) );
    list = Kiv::make<EncodedLabelWithMaskList>( key );
  }
  fields.push_back( { fieldType, list } );
}

void RuleExpanderSm::buildRangeField( TcamFieldType fieldType, RangeSetType type, GenSetKey key,
                                      std::vector<Field>& fields ) const {
  if ( key == GenSetKey() ) return;
  auto const list = listOf( expanderConfig()->rangeEncoderStatus(), type, key );
  if ( !list )
    throw RuleError( composed( type, ": range set ", key.value(), " is not empty and has no encoded labels" ) );
  fields.push_back( { fieldType, list } );
}

// Dumps

namespace {

void dumpHeader( Kiv::TraceHelper& dump, std::string_view header ) {
  dump << header;
  dump.trace();
}

void dumpLists( Kiv::TraceHelper& dump, EncoderStatus const& status ) {
  for ( auto list = status.encodedLabelList().begin(); list; ++list ) {
    dump << "..key " << list.key().value();
    for ( auto const& entry : list.value()->encLabelAndMask() )
      dump << " " << entry.label.value() << "/" << entry.mask.value();
    dump.trace();
  }
}

/// One header, and each member's key and lists.
template <class Statuses>
void dumpEncoders( Kiv::TraceHelper& dump, std::string_view header, Statuses const& statuses ) {
  dumpHeader( dump, header );
  for ( auto status = statuses.begin(); status; ++status ) {
    dump << status.key();
    dump.trace();
    dumpLists( dump, *status.value() );
  }
}

void dumpRule( Kiv::TraceHelper& dump, GenSetIpRule const& rule ) {
  dump << "...Rule Name " << rule.name() << " source " << rule.source().value() << " destination "
       << rule.destination().value();
  for ( std::uint32_t type = 0; type != Kiv::enumValue( RangeSetType::rangeSetMax ); ++type )
    if ( auto const key = rule.range( static_cast<RangeSetType>( type ) ); key != GenSetKey() )
      dump << " " << static_cast<RangeSetType>( type ) << " " << key.value();
  dump.trace();
}

}  // namespace

void RuleExpanderSm::dumpRuleExpanderConfig() const {
  auto const dump = Kiv::TraceHelper::createIfEnabled( traceHandle, 9 );
  if ( !dump ) return;
  auto const config = expanderConfig();
  dumpHeader( *dump, "*** Aggregator Status ***" );
  auto const& lists = config->aggregatorStatus()->aclGenSetIpRuleList();
  for ( auto list = lists.begin(); list; ++list ) {
    *dump << "Acl Name " << list.key();
    dump->trace();
    for ( auto rule = list.value()->genSetIpRuleById().begin(); rule; ++rule ) dumpRule( *dump, *rule.value() );
  }
  dumpHeader( *dump, "*** ComboLabel Info ***" );
  for ( auto info = config->comboLabelInfo().begin(); info; ++info ) {
    *dump << info.key();
    dump->trace();
    for ( auto pair = info.value()->srcDstToComboMap().begin(); pair; ++pair ) {
      *dump << "..source " << pair.key().src.value() << " destination " << pair.key().dst.value() << " combination "
            << pair.value().value();
      dump->trace();
    }
  }
  dumpEncoders( *dump, "*** Range Encoder Status ***", config->rangeEncoderStatus() );
  dumpEncoders( *dump, "*** Prefix Encoder Status ***", config->prefixEncoderStatus() );
  dumpEncoders( *dump, "*** Combo Label Encoder Status ***", config->comboLabelEncoderStatus() );
}

void RuleExpanderSm::dumpRuleExpanderStatus() const {
  auto const dump = Kiv::TraceHelper::createIfEnabled( traceHandle, 9 );
  if ( !dump ) return;
  dumpHeader( *dump, "*** Rule Expander Status ***" );
  auto const& acls = expanderStatus_->ruleExpanderLoaderInfo()->pdAcl();
  for ( auto acl = acls.begin(); acl; ++acl ) {
    *dump << "aclName " << acl.key().aclName;
    dump->trace();
    for ( auto const& [index, rule] : acl.value()->rule() ) {
      *dump << "..aceIndex:" << index.value() << " ..action:" << rule->action();
      dump->trace();
      for ( PDAclFilter const& filter : rule->filter() ) {
        *dump << "...." << filter;
        dump->trace();
      }
    }
  }
}

}  // namespace Orvex
