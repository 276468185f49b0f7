#include "Brae/Bitmap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

namespace {

using Brae::Bitmap;
using Brae::bitmapFactory;

/// The same bitmap, a bit at a time.
struct NaiveBitmap {
  std::vector<bool> bits;

  std::uint32_t size() const { return static_cast<std::uint32_t>( bits.size() ); }
  void set( std::uint32_t first, std::uint32_t last, bool state ) {
    for ( std::uint32_t i = first; i <= last; ++i ) bits[i] = state;
  }
  std::uint32_t findClear( std::uint32_t first, std::uint32_t last ) const {
    for ( std::uint32_t i = first; i <= last; ++i )
      if ( !bits[i] ) return i;
    return size();
  }
  std::uint32_t count( std::uint32_t first, std::uint32_t last, bool state ) const {
    std::uint32_t counted = 0;
    for ( std::uint32_t i = first; i <= last; ++i ) counted += bits[i] == state;
    return counted;
  }
};

std::vector<bool> bitsOf( Bitmap const& bitmap ) {
  std::vector<bool> bits( bitmap.size() );
  for ( std::uint32_t i = 0; i != bitmap.size(); ++i ) bits[i] = bitmap.bit( i );
  return bits;
}

// At 130 a range may have a whole word between two others; enough are drawn to begin and end nearly everywhere.
TEST( Bitmap, AgreesWithANaiveBitmapUnderRandomChanges ) {
  using Run = std::pair<std::uint32_t, int>;
  for ( auto const& [size, steps] : { Run( 1, 100 ), Run( 63, 3000 ), Run( 64, 3000 ), Run( 65, 3000 ),
                                      Run( 128, 3000 ), Run( 130, 30000 ), Run( 65536, 300 ) } ) {
    SCOPED_TRACE( testing::Message() << "size " << size << ", seed " << size );
    std::mt19937 random( size );
    std::uniform_int_distribution<std::uint32_t> position( 0, size - 1 );
    auto const anyRange = [&] { return std::minmax( { position( random ), position( random ) } ); };
    Kiv::Ptr<Bitmap> const bitmap = bitmapFactory( size );
    NaiveBitmap naive{ std::vector<bool>( size ) };
    for ( int step = 0; step != steps; ++step ) {
      std::uint32_t const at = position( random );
      auto const [first, last] = anyRange();
      switch ( random() % 4 ) {
        case 0:
          bitmap->setBit( at ), naive.set( at, at, true );
          break;
        case 1:
          bitmap->clearBit( at ), naive.set( at, at, false );
          break;
        case 2:
          bitmap->setBitsInRange( first, last ), naive.set( first, last, true );
          break;
        default:
          bitmap->clearBitsInRange( first, last ), naive.set( first, last, false );
          break;
      }
      auto const [from, to] = anyRange();
      ASSERT_EQ( naive.findClear( from, to ), bitmap->findClearBitInRange( from, to ) );
      ASSERT_EQ( naive.count( from, to, true ), bitmap->numBitsInSetStateInRange( from, to ) );
      ASSERT_EQ( naive.count( from, to, false ), bitmap->numBitsInSetStateInRange( from, to, false ) );
      ASSERT_EQ( naive.count( 0, size - 1, true ), bitmap->numBitsInSetState( true ) );
      ASSERT_EQ( naive.count( 0, size - 1, false ), bitmap->numBitsInSetState( false ) );
      if ( size < 1000 || step + 1 == steps ) {
        ASSERT_EQ( naive.bits, bitsOf( *bitmap ) ) << "step " << step;
      }
    }
  }
}

TEST( Bitmap, ASearchPastTheEndFindsNothing ) {
  Kiv::Ptr<Bitmap> const bitmap = bitmapFactory( 64 );
  EXPECT_EQ( 64U, bitmap->findClearBitInRange( 64, 63 ) );
  EXPECT_EQ( 64U, bitmap->findClearBitInRange( 5, 4 ) );
  EXPECT_EQ( 0U, bitmapFactory( 0 )->findClearBitInRange( 1, 0 ) );
  EXPECT_EQ( 0U, bitmapFactory( 0 )->numBitsInSetState( false ) );
}

TEST( BitmapDeathTest, ArgumentsOutsideTheBitmapStopTheProcess ) {
  Kiv::Ptr<Bitmap> const bitmap = bitmapFactory( 65 );
  EXPECT_DEATH( bitmap->bit( 65 ), "position < size_" );
  EXPECT_DEATH( bitmap->setBit( 65 ), "last < size_" );
  EXPECT_DEATH( bitmap->clearBit( 0xFFFFFFFFU ), "last < size_" );
  EXPECT_DEATH( bitmap->setBitsInRange( 3, 2 ), "first <= last" );
  EXPECT_DEATH( bitmap->findClearBitInRange( 0, 65 ), "last < size_" );
  EXPECT_DEATH( bitmap->numBitsInSetStateInRange( 64, 65 ), "last < size_" );
  EXPECT_DEATH( bitmapFactory( 0 )->setBit( 0 ), "last < size_" );
}

}  // namespace
