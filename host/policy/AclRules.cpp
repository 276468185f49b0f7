#include "policy/AclRules.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "input/NearestWord.h"
#include "policy/AclAddresses.h"
#include "policy/AclFields.h"
#include "policy/NumberNames.h"

namespace Orvex::Host {

namespace {

bool isDigit( char each ) { return each >= '0' && each <= '9'; }

/// What an address's place in a rule can hold beside an address.
constexpr std::string_view kOtherAddresses[] = { "none", "prefix-list" };

/// What else a line in an ACL can be.
constexpr std::string_view kLineBeginnings[] = { "permit", "deny", "default",   "protocol-check", "remark",
                                                 "ip",     "ipv6", "port-list", "include" };

class RuleReader {
 public:
  RuleReader( AclLine& line, AclRuleContext const& context ) : line_( line ), context_( context ) {}

  ReadRule read() {
    if ( !line_.atEnd() && isDigit( line_.word()[0] ) ) result_.number = readNumber( line_, kRuleNumberWords );
    readAction();
    ranges()[Field::proto] = readProtocols( line_, context_.family );
    result_.rule.source = readAddresses( "a source address", result_.references.source );
    ranges()[Field::sport] = readPorts( result_.references.sourcePorts );
    result_.rule.destination = readAddresses( "a destination address", result_.references.destination );
    ranges()[Field::dport] = readPorts( result_.references.destinationPorts );
    while ( !line_.atEnd() ) readQualifier();
    check();
    return std::move( result_ );
  }

 private:
  /// A qualifier's reader moves on from the keyword.
  struct Qualifier {
    std::string_view keyword;
    void ( RuleReader::*read )();
  };
  static constexpr std::size_t kQualifierCount = 13;
  static std::array<Qualifier, kQualifierCount> const kQualifiers;

  static constexpr NumberWords kRuleNumberWords{ "rule number", kMaxRuleNumber, kNoNames };

  PerField<RangeSet>& ranges() { return result_.rule.ranges; }
  OrvexActionValue& action() { return result_.rule.action; }

  void readAction() {
    std::string_view const word = line_.word();
    if ( word != "permit" && word != "deny" ) {
      NearestWord nearest( word );
      for ( std::string_view const each : kLineBeginnings ) nearest.consider( each );
      line_.failHere( "permit or deny", nearest.question() );
    }
    action().dropEnabled = line_.take() == "deny";
  }

  SharedPrefixList readAddresses( std::string_view expected, ListReferences& references ) {
    if ( line_.atEnd() ) line_.failHere( expected );
    if ( line_.accept( "none" ) ) return context_.prefixLists.none();
    if ( line_.accept( "prefix-list" ) ) {
      references = context_.prefixLists.named().readReferences( line_ );
      return nullptr;
    }
    return AclPrefixLists::single( readAddress( line_, context_.family, context_.diagnostics, kOtherAddresses ) );
  }

  RangeSet readPorts( ListReferences& references ) {
    bool const named = line_.word() == "port-list";
    if ( !named && !atOperator( line_ ) ) return {};
    if ( ports_.empty() ) ports_ = line_.word();
    if ( !named ) return readValues( line_, kPortWords );
    line_.take();
    references = context_.portLists.readReferences( line_ );
    return {};
  }

  // Qualifiers

  void readQualifier() {
    std::string_view const word = line_.word();
    std::size_t const at = indexOf( word );
    if ( at == kQualifierCount ) failUnknown();
    std::string_view& seen = seen_[at];
    if ( !seen.empty() )
      line_.fail( word, inQuotes( word ) + " stands twice in this rule", "keep one of the two",
                  { { line_.placeOf( seen ), "the first one" } } );
    seen = line_.take();
    ( this->*kQualifiers[at].read )();
  }

  static std::size_t indexOf( std::string_view keyword ) {
    return static_cast<std::size_t>(
        std::find_if( kQualifiers.begin(), kQualifiers.end(),
                      [keyword]( Qualifier const& each ) { return each.keyword == keyword; } ) -
        kQualifiers.begin() );
  }

  [[noreturn]] void failUnknown() const {
    NearestWord nearest( line_.word() );
    for ( Qualifier const& each : kQualifiers ) nearest.consider( each.keyword );
    if ( !result_.rule.ranges[Field::dport].empty() ) kServiceNames.considerFor( nearest );
    if ( atOperator( line_ ) || line_.word() == "port-list" )
      line_.failHere( "a qualifier", "ports stand behind the address that they belong to" );
    if ( isDigit( line_.word()[0] ) ) line_.failHere( "a qualifier", "before ports stands eq, neq, lt, gt or range" );
    line_.failHere( "a qualifier", nearest.question() );
  }

  void readEstablished() { result_.rule.tcpEstablished = true; }
  void readInit() { result_.rule.tcpInit = true; }

  void readIcmpType() {
    NumberNames const& names = icmpTypeNames( ranges()[Field::proto], context_.family );
    ranges()[Field::icmpType] = readValues( line_, { "ICMP type", maximumOf( Field::icmpType ), names } );
  }
  void readDscp() { ranges()[Field::dscp] = readValues( line_, kDscpWords ); }
  void readTtl() { ranges()[Field::ttl] = readValues( line_, { "TTL", maximumOf( Field::ttl ), kNoNames } ); }
  void readLength() {
    ranges()[Field::length] = readValues( line_, { "length", maximumOf( Field::length ), kNoNames } );
  }
  void readFragmentOffset() {
    ranges()[Field::fragment] = readValues( line_, { "fragment offset", maximumOf( Field::fragment ), kNoNames } );
  }
  void readFragments() { laterFragments_ = true; }

  void readName() { result_.rule.name = line_.takeName( "a name for the rule" ); }
  void readLog() { action().logEnabled = true; }
  void readSflow() { action().sflowEnabled = true; }
  void readSetDscp() {
    action().setDscpEnabled = true;
    action().dscp.valueIs( readNumber( line_, kDscpWords ) );
  }
  void readSetTc() {
    action().setTcEnabled = true;
    action().tc.valueIs( readNumber( line_, { "traffic class", OrvexTrafficClass::max, kNoNames } ) );
  }

  // What does not go together

  /// Where the qualifier stands; empty when it does not.
  std::string_view seen( std::string_view keyword ) const { return seen_[indexOf( keyword )]; }

  void check() {
    std::string_view const established = seen( "established" );
    std::string_view const init = seen( "init" );
    if ( !established.empty() && !init.empty() )
      line_.fail( init, "established and init exclude each other: no rule can have both", "write two rules" );
    if ( context_.checksProtocols ) checkProtocols( init.empty() ? established : init );
    if ( laterFragments_ ) checkFragments( init.empty() ? established : init );
  }

  void checkProtocols( std::string_view tcpFlags ) const {
    RangeSet const& protocols = result_.rule.ranges[Field::proto];
    if ( !ports_.empty() && !allHavePorts( protocols ) )
      line_.fail( ports_, "ports need a protocol that has them",
                  "write tcp, udp, dccp, sctp or udplite as the protocol" );
    std::string_view const icmpType = seen( "icmp-type" );
    if ( !icmpType.empty() && !allHaveIcmpTypes( protocols ) )
      line_.fail( icmpType, "an ICMP type needs its protocol",
                  context_.family == Vell::AddressFamily::ipv4 ? "write icmp as the protocol"
                                                               : "write icmpv6 as the protocol" );
    if ( !tcpFlags.empty() && !allHaveTcpFlags( protocols ) )
      line_.fail( tcpFlags, inQuotes( tcpFlags ) + " looks at TCP flags, which other protocols do not have",
                  "write tcp as the protocol" );
  }

  void checkFragments( std::string_view tcpFlags ) {
    std::string_view const fragments = seen( "fragments" );
    if ( !ports_.empty() || !tcpFlags.empty() || !seen( "icmp-type" ).empty() )
      line_.fail( fragments,
                  "later fragments carry no ports, ICMP types and TCP flags, so that this rule would match nothing",
                  "write a rule for them without these" );
    if ( !seen( "fragment-offset" ).empty() )
      line_.fail( fragments, "fragments and fragment-offset say the same in two ways", "keep one of the two" );
    ranges()[Field::fragment] = { { 1, maximumOf( Field::fragment ) } };
  }

  AclLine& line_;
  AclRuleContext const& context_;
  ReadRule result_;
  std::string_view ports_;  // the first word of the first
  bool laterFragments_ = false;
  std::array<std::string_view, kQualifierCount> seen_;
};

std::array<RuleReader::Qualifier, RuleReader::kQualifierCount> const RuleReader::kQualifiers = {
    { { "established", &RuleReader::readEstablished },
      { "init", &RuleReader::readInit },
      { "icmp-type", &RuleReader::readIcmpType },
      { "dscp", &RuleReader::readDscp },
      { "ttl", &RuleReader::readTtl },
      { "length", &RuleReader::readLength },
      { "fragment-offset", &RuleReader::readFragmentOffset },
      { "fragments", &RuleReader::readFragments },
      { "log", &RuleReader::readLog },
      { "sflow", &RuleReader::readSflow },
      { "set-dscp", &RuleReader::readSetDscp },
      { "set-tc", &RuleReader::readSetTc },
      { "name", &RuleReader::readName } } };

}  // namespace

ReadRule readRule( AclLine& line, AclRuleContext const& context ) { return RuleReader( line, context ).read(); }

}  // namespace Orvex::Host
