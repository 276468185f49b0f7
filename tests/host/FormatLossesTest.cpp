#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "formats/ClassbenchWriter.h"
#include "formats/OpenConfigWriter.h"
#include "formats/Rfc8519Writer.h"
#include "policy/AclTextReader.h"

namespace Orvex::Host::Test {

TEST( FormatLosses, AreAllToldWithEveryRule ) {
  Diagnostics diagnostics;
  auto const file = SourceFile::fromText( "edge.acl",
                                          "ip access-list edge\n"
                                          " 10 permit tcp any any established set-tc 1\n"
                                          " 20 permit ip any none\n"
                                          " 30 deny tcp any any init ttl 1 2 log\n"
                                          "ipv6 access-list edge\n"
                                          " 10 permit tcp any any init\n",
                                          diagnostics );
  auto const located = readAclText( { file }, diagnostics );
  ASSERT_TRUE( located );
  auto const lossesOf = [&]( auto const& write ) {
    Diagnostics losses;
    EXPECT_FALSE( write( *located, losses ) );
    std::vector<std::string> texts;
    for ( Diagnostic const& each : losses.sorted() )
      texts.push_back( std::to_string( each.place.line ) + ": " + each.problem );
    return texts;
  };
  EXPECT_THAT(
      lossesOf( rfc8519Text ),
      testing::UnorderedElementsAre(
          "2: RFC 8519 has no TCP flags for init and established: ipv4 edge 10, 30; ipv6 edge 10",
          "2: RFC 8519 has no action that sets the traffic class: ipv4 edge 10",
          "3: RFC 8519 matches one source prefix and one destination prefix: ipv4 edge 20",
          "4: RFC 8519 matches one TTL: ipv4 edge 30", "5: RFC 8519 names ACLs of both families apart: ipv6 edge" ) );
  EXPECT_THAT( lossesOf( openConfigText ),
               testing::UnorderedElementsAre( "2: OpenConfig has no action that sets the traffic class: ipv4 edge 10",
                                              "3: OpenConfig has no set that matches no address: ipv4 edge 20",
                                              "4: OpenConfig matches one hop limit: ipv4 edge 30" ) );
  EXPECT_THAT( lossesOf( classbenchText ), testing::SizeIs( 6 ) );
}

}  // namespace Orvex::Host::Test
