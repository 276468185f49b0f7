#include "Vell/TrieGen.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <set>
#include <sstream>
#include <string>

namespace {

using Vell::AddressFamily;
using Vell::Ip6Addr;
using Vell::IpGenPrefix;
using Vell::TrieGen;

IpGenPrefix prefix( std::string_view text ) { return Kiv::strepToValue<IpGenPrefix>( text ); }

std::string text( std::optional<IpGenPrefix> const& found ) {
  return found ? std::string( Kiv::valueToStrep( *found ).view() ) : "none";
}

/// A trie of the prefixes in a text, which are all of one family.
Kiv::Ptr<TrieGen> trie( std::string const& members ) {
  Kiv::Ptr<TrieGen> made;
  std::istringstream words( members );
  for ( std::string word; words >> word; ) {
    if ( !made ) made = Kiv::make<TrieGen>( "trie", prefix( word ).af() );
    made->routeIs( prefix( word ) );
  }
  return made;
}

struct Callback : Vell::TrieGenWalkCallback {
  explicit Callback( std::function<bool( IpGenPrefix const& )> handler ) : handle( std::move( handler ) ) {}
  bool handlePrefix( IpGenPrefix const& each ) override { return handle( each ); }
  std::function<bool( IpGenPrefix const& )> handle;
};

std::string walk( TrieGen const& walked, std::string_view start ) {
  std::string visited;
  Callback callback( [&]( IpGenPrefix const& each ) {
    visited.append( visited.empty() ? "" : " " ).append( text( each ) );
    return true;
  } );
  walked.preOrderWalk( prefix( start ), callback );
  return visited;
}

constexpr char const* kNested = "9.0.0.0/8 9.1.0.0/16 10.0.0.0/8 10.1.0.0/16 10.1.2.0/24 10.1.2.4/32 10.9.0.0/16";

TEST( TrieGen, AWalkMayAskAboutAnythingAndWalkAgainAndStopsWhenTold ) {
  Kiv::Ptr<TrieGen> const nested = trie( kNested );
  std::string seen;
  Callback callback( [&]( IpGenPrefix const& each ) {
    EXPECT_EQ( "10.1.2.0/24", text( nested->findParent( prefix( "10.1.2.4/32" ) ) ) );
    if ( each.length() == 16 ) seen += walk( *nested, "9.0.0.0/8" ) + " ";
    seen += text( nested->findParent( each ) ) + " ";
    return each.length() != 24;
  } );
  nested->preOrderWalk( prefix( "10.1.0.0/16" ), callback );
  EXPECT_EQ( "9.0.0.0/8 9.1.0.0/16 10.0.0.0/8 10.1.0.0/16 ", seen );
  // The walk is over, and the trie may change again.
  nested->routeIs( prefix( "0.0.0.0/0" ) );
  EXPECT_EQ( "0.0.0.0/0", text( nested->findParent( prefix( "10.0.0.0/8" ) ) ) );
}

TEST( TrieGenDeathTest, MisuseStopsTheProcess ) {
  Kiv::Ptr<TrieGen> const nested = trie( kNested );
  EXPECT_DEATH( nested->routeIs( prefix( "::/0" ) ), "prefix.af\\(\\) == af_" );
  for ( bool const present : { true, false } ) {
    Callback callback( [&]( IpGenPrefix const& each ) {
      nested->routeIs( each, present );
      return false;
    } );
    EXPECT_DEATH( nested->preOrderWalk( prefix( "0.0.0.0/0" ), callback ), "walks_ == 0" );
  }
}

/// The same questions answered by looking at every member.
struct NaiveTrie {
  std::set<IpGenPrefix> members;

  std::optional<IpGenPrefix> findParent( IpGenPrefix const& asked ) const {
    std::optional<IpGenPrefix> longest;
    for ( IpGenPrefix const& each : members )
      if ( each != asked && each.contains( asked ) && ( !longest || each.length() > longest->length() ) )
        longest = each;
    return longest;
  }
  std::string walk( IpGenPrefix const& start ) const {
    std::string visited;
    for ( IpGenPrefix const& each : members )
      if ( start.contains( each ) ) visited.append( visited.empty() ? "" : " " ).append( text( each ) );
    return visited;
  }
};

TEST( TrieGen, AgreesWithANaiveTrieUnderRandomChanges ) {
  for ( unsigned const seed : { 1U, 2U, 3U, 4U } ) {
    SCOPED_TRACE( testing::Message() << "seed " << seed );
    std::mt19937_64 random( seed );
    AddressFamily const af = seed % 2 == 0 ? AddressFamily::ipv4 : AddressFamily::ipv6;
    // Few bits of choice, at both ends and in the middle: much nests, and much is named again.
    auto const randomPrefix = [&] {
      std::uint64_t const high = random() & 0xC0018003C0000003ULL;
      auto const length = static_cast<std::uint32_t>( random() % ( Vell::addressWidthBits( af ) + 1 ) );
      return af == AddressFamily::ipv4 ? IpGenPrefix( static_cast<std::uint32_t>( high >> 32 ), length )
                                       : IpGenPrefix( Ip6Addr( high, random() & 0xC000000000000003ULL ), length );
    };
    Kiv::Ptr<TrieGen> const tested = Kiv::make<TrieGen>( "tested", af );
    NaiveTrie naive;
    for ( int round = 0; round != 60; ++round ) {
      for ( std::uint64_t changes = random() % 20; changes-- != 0; ) {
        IpGenPrefix const changed = randomPrefix();
        bool const present = random() % 3 != 0;
        tested->routeIs( changed, present );
        if ( present )
          naive.members.insert( changed );
        else
          naive.members.erase( changed );
      }
      for ( IpGenPrefix const& each : naive.members )
        ASSERT_EQ( text( naive.findParent( each ) ), text( tested->findParent( each ) ) ) << each;
      IpGenPrefix const any = randomPrefix();
      ASSERT_EQ( naive.members.size(), tested->size() );
      ASSERT_EQ( naive.members.count( any ) == 1, tested->has( any ) ) << any;
      ASSERT_EQ( text( naive.findParent( any ) ), text( tested->findParent( any ) ) ) << any;
      ASSERT_EQ( text( naive.members.count( any ) != 0 ? any : naive.findParent( any ) ),
                 text( tested->findLongestMatch( any ) ) )
          << any;
      ASSERT_EQ( naive.walk( any ), walk( *tested, text( any ) ) ) << any;
    }
  }
}

}  // namespace
