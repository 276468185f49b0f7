#include "Orvex/OrvexEncodedLabelAllocator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>

namespace Orvex {
namespace {
using testing::IsEmpty;

using Labels = std::set<std::uint32_t>;
/// A set's labels, and how many use it.
struct Used {
  Labels labels;
  std::uint32_t users;
};
using Family = std::map<std::uint64_t, Used>;
/// Start, end.
using Ranges = std::set<std::pair<std::uint32_t, std::uint32_t>>;

struct Allocation {
  bool success = false;
  std::map<std::uint32_t, std::uint32_t> values;  // of plain labels
  std::map<std::uint64_t, Ranges> ranges;         // of keys
  bool operator==( Allocation const& ) const = default;
};

Allocation allocated( std::uint32_t width, std::uint32_t reserved, Family const& family ) {
  auto const xform = Kiv::make<RangeSplitStatus>( RangeSetType::dstPort );
  auto const usage = Kiv::make<GenSetUsageInfo>();
  std::map<Labels, Kiv::Ptr<PlainLabels>> shared;
  for ( auto const& [key, used] : family ) {
    auto& labels = shared[used.labels];
    if ( !labels ) {
      labels = Kiv::make<PlainLabels>();
      for ( std::uint32_t const label : used.labels ) labels->insert( PlainLabel( label ) );
    }
    xform->plainLabelListMap()->plainLabelListIs( GenSetKey( key ), labels );
    if ( used.users != 0 ) usage->valueInc( GenSetKey( key ), used.users );
  }
  auto const config = Kiv::make<EncoderConfig>( xform );
  auto const encoderStatus =
      Kiv::make<RangeEncoderStatus>( RangeSetType::dstPort, Kiv::make<RangeSplitLoaderInfo>( RangeSetType::dstPort ) );
  auto const status = encodedLabelAllocStatusFactory();
  encodedLabelAllocatorFactory( width, EncodedLabel( static_cast<std::uint16_t>( reserved ) ), config,
                                refCntCostModelFactory( config, usage ), encoderStatus, status );
  Allocation result;
  result.success = status->status() == StageStatusType::finishedSuccess;
  for ( auto at = encoderStatus->plainToEncodedLabel().begin(); at; ++at )
    result.values[at.key().value()] = at.value().value();
  for ( auto at = status->keyToEncLabelList().begin(); at; ++at ) {
    result.ranges[at.key().value()];
    for ( auto const& range : at.value()->encLabelRange() )
      result.ranges[at.key().value()].insert( { range.start, range.end } );
  }
  return result;
}

/// The procedure with a bit for each value, and every place tried.
class LiteralAllocator {
 public:
  LiteralAllocator( std::uint32_t width, std::uint32_t reserved, Family const& family ) : taken_( 1U << width ) {
    if ( reserved < taken_.size() ) taken_[reserved] = true;
    std::map<std::uint32_t, std::vector<std::uint64_t>> order;
    for ( auto const& [key, used] : family )
      order[~( static_cast<std::uint32_t>( used.labels.size() ) * used.users )].push_back( key );
    std::map<std::uint64_t, std::uint32_t> need;
    Labels counted;
    std::uint32_t total = 0;
    for ( auto const& [place, keys] : order )
      for ( std::uint64_t const key : keys )
        for ( std::uint32_t const label : family.at( key ).labels )
          if ( counted.insert( label ).second ) ++need[key], ++total;
    std::uint32_t const capacity = size() - 1;
    if ( total > capacity ) return;
    extra_ = capacity - total;
    for ( auto const& [place, keys] : order )
      for ( std::uint64_t const key : keys ) allocate( key, family.at( key ).labels, need[key] );
    result.success = true;
  }

  Allocation result;

 private:
  std::uint32_t size() const { return static_cast<std::uint32_t>( taken_.size() ); }
  std::uint32_t lowestFree( std::uint32_t from ) const {
    while ( from < size() && taken_[from] ) ++from;
    return from;
  }
  std::uint32_t takenIn( std::uint32_t start, std::uint32_t end ) const {
    return static_cast<std::uint32_t>( std::count( taken_.begin() + start, taken_.begin() + end + 1, true ) );
  }

  void allocate( std::uint64_t key, Labels const& labels, std::uint32_t count ) {
    Ranges& ranges = result.ranges[key];
    for ( std::uint32_t const label : labels )
      if ( auto const value = result.values.find( label ); value != result.values.end() )
        ranges.insert( { value->second, value->second } );
    if ( count == 0 ) return;
    int range = 0;
    while ( 1U << range < count ) ++range;
    std::uint32_t allocated = 0;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> blocks;
    for ( ; range >= 0 && allocated < count; --range ) {
      std::uint32_t const block = 1U << range;
      std::uint32_t start = lowestFree( 0 ) / block * block;
      while ( start < size() && allocated < count ) {
        std::uint32_t const remaining = count - allocated;
        std::uint32_t take = remaining;
        std::uint32_t extra = 0;
        if ( remaining >= block ) {
          take = block;
        } else if ( extra_ != 0 && remaining != 1 ) {
          std::uint32_t power = 1;
          while ( power < remaining ) power *= 2;
          extra = power - remaining;
          if ( extra > extra_ ) break;
          take = power;
        }
        std::uint32_t const end = start + take - 1;
        if ( end >= size() ) break;
        std::uint32_t const taken = takenIn( start, end );
        if ( taken == 0 ) {
          std::fill( taken_.begin() + start, taken_.begin() + end + 1, true );
          blocks.emplace_back( start, end );
          ranges.insert( { start, end } );
          allocated += take;
          extra_ -= extra;
          start = lowestFree( end ) / block * block;
        } else if ( taken == block ) {
          start = lowestFree( end ) / block * block;
        } else {
          start += block;
        }
      }
    }
    EXPECT_GE( allocated, count );
    auto label = labels.begin();
    for ( auto const& [start, end] : blocks ) {
      for ( std::uint32_t value = start; value <= end; ++value ) {
        while ( label != labels.end() && result.values.count( *label ) != 0 ) ++label;
        if ( label != labels.end() ) result.values[*label] = value;
      }
    }
  }

  std::vector<bool> taken_;
  std::uint32_t extra_ = 0;
};

/// Sets of neighbouring and of scattered labels, some of them equal; as many distinct labels as fit, or nearly so.
Family randomFamily( std::mt19937_64& random, std::uint32_t width ) {
  std::uint32_t const capacity = ( 1U << width ) - 1;
  std::uint32_t const labels =
      std::max<std::uint32_t>( 1, capacity - static_cast<std::uint32_t>( random() % 4 ) *
                                                 static_cast<std::uint32_t>( random() % 9 ) % capacity );
  Family family;
  for ( std::uint64_t key = 1, count = 1 + random() % 40; key <= count; ++key ) {
    Used& used = family[key];
    used.users = static_cast<std::uint32_t>( random() % 4 );
    if ( key > 1 && random() % 6 == 0 ) {
      used.labels = family[1 + random() % ( key - 1 )].labels;
      continue;
    }
    std::uint32_t const first = 1 + static_cast<std::uint32_t>( random() % labels );
    std::uint32_t const length = 1 + static_cast<std::uint32_t>( random() % std::min<std::uint32_t>( labels, 40 ) );
    for ( std::uint32_t label = first; label < first + length && label <= labels; ++label )
      if ( random() % 5 != 0 ) used.labels.insert( label );
  }
  // What is left over goes to one large set, so that the space is full or nearly so.
  if ( random() % 2 == 0 )
    for ( std::uint32_t label = 1; label <= labels; ++label ) family[0].labels.insert( label );
  return family;
}

TEST( EncodedLabelAllocator, FitsAsManyLabelsAsThereAreValuesButTheReservedOne ) {
  for ( std::uint32_t width = 1; width <= 16; ++width ) {
    Used used{ {}, 1 };
    for ( std::uint32_t label = 1; label < 1U << width; ++label ) used.labels.insert( label );
    EXPECT_TRUE( allocated( width, 0, { { 1, used } } ).success ) << width;
    used.labels.insert( 1U << width );
    auto const allocation = allocated( width, 0, { { 1, used } } );
    EXPECT_FALSE( allocation.success ) << width;
    EXPECT_THAT( allocation.values, IsEmpty() );
  }
}

TEST( EncodedLabelAllocator, PlacesLabelsAsTheProcedureTriedValueByValue ) {
  for ( std::uint64_t seed = 1; seed <= 600; ++seed ) {
    SCOPED_TRACE( seed );
    std::mt19937_64 random( seed );
    std::uint32_t const width = 1 + static_cast<std::uint32_t>( random() % ( seed % 20 == 0 ? 16 : 9 ) );
    std::uint32_t const last = ( 1U << width ) - 1;
    std::uint32_t const reserved =
        std::vector<std::uint32_t>{ 0, last, static_cast<std::uint32_t>( random() % ( last + 1 ) ) }[random() % 3];
    Family const family = randomFamily( random, width );
    Allocation const allocation = allocated( width, reserved, family );
    ASSERT_EQ( LiteralAllocator( width, reserved, family ).result, allocation );

    if ( !allocation.success ) continue;
    std::set<std::uint32_t> values{ reserved };
    for ( auto const& [label, value] : allocation.values ) EXPECT_TRUE( values.insert( value ).second ) << label;
    for ( auto const& [key, used] : family )
      for ( auto const& [label, value] : allocation.values )
        EXPECT_EQ( used.labels.count( label ) != 0,
                   std::any_of( allocation.ranges.at( key ).begin(), allocation.ranges.at( key ).end(),
                                [v = value]( auto const& range ) { return range.first <= v && v <= range.second; } ) )
            << "key " << key << ", label " << label;
  }
}

}  // namespace
}  // namespace Orvex
