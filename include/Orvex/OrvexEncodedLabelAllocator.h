#pragma once

/// Gives plain labels their encoded values, so that the labels of a set can be matched by few ternary entries.
///
/// Labels that lie in one aligned block of a power of two are one entry. A label can lie in one place only, though, and sets
/// share labels, so sets are served in an order: those with the most labels times users first. Each gets the labels that no
/// earlier set has got, in blocks as large as they come; as long as there are more values than labels, its last block is
/// rounded up to a power of two, and the values left over in it match nothing:
///
///     width 4, value 0 reserved         set 1: labels 1 2 3        1 -> 4, 2 -> 5, 3 -> 6, 7 left over:    01**
///     (12 spare values)                 set 2: labels 3 4          4 -> 1, 3 -> 6 already:         0001  0110
///
/// A cost model makes the order, an allocator fills an allocation; both do all their work when they are made.
///
/// Invariants of a successful allocation: (1) every label of every list has one value, and no two have the same; (2) the
/// reserved value is not among them; (3) the ranges of a set hold the values of its labels, and otherwise only left-over
/// values that were made for this set.
/// Cost: linear in the labels of the lists, counted once for lists that sets share, and the searches of OrvexFreeBlocks.h.

#include <cstdint>
#include <vector>

#include "Kiv/RbTreeMap.h"
#include "Kiv/SortedSet.h"
#include "Orvex/OrvexEncoderTypes.h"
#include "Orvex/OrvexFreeBlocks.h"

namespace Orvex {

/// Encoded values, both ends included.
struct EncodedLabelRange {
  std::uint16_t start = 0;
  std::uint16_t end = 0;
  friend auto operator<=>( EncodedLabelRange const&, EncodedLabelRange const& ) = default;
};

/// The values of one set, or of several with equal lists.
class EncodedLabelRangeList : public Kiv::Entity {
 public:
  EncodedLabelRangeList() = default;
  explicit EncodedLabelRangeList( std::vector<EncodedLabelRange> ranges ) : encLabelRange_( std::move( ranges ) ) {}

  Kiv::SortedSet<EncodedLabelRange> const& encLabelRange() const { return encLabelRange_; }
  void encLabelRangeIs( EncodedLabelRange range ) { encLabelRange_.insert( range ); }

 private:
  Kiv::SortedSet<EncodedLabelRange> encLabelRange_;
};

/// The result of one allocation.
class EncodedLabelAllocStatus : public Kiv::Entity {
 public:
  Kiv::HashMap2018<GenSetKey, Kiv::Ptr<EncodedLabelRangeList>> const& keyToEncLabelList() const {
    return keyToEncLabelList_;
  }
  void keyToEncLabelListIs( GenSetKey key, Kiv::Ptr<EncodedLabelRangeList> const& list ) {
    keyToEncLabelList_.set( key, list );
  }
  void keyToEncLabelListReserve( std::size_t size ) { keyToEncLabelList_.reserve( size ); }

  /// "finishedSuccess", or "finishedFailed" when there are more labels than values.
  StageStatusType status() const { return status_; }
  void statusIs( StageStatusType status ) { status_ = status; }

 private:
  Kiv::HashMap2018<GenSetKey, Kiv::Ptr<EncodedLabelRangeList>> keyToEncLabelList_;
  StageStatusType status_ = StageStatusType::init;
};

/// The order in which sets are served: ascending, sets of equal order in ascending order of their keys.
class GenSetCostModel : public Kiv::Entity {
 public:
  Kiv::RbTreeMap<std::uint32_t, Kiv::Ptr<GenSetKeyGroup>> const& setOrder() const { return setOrder_; }
  void setOrderIs( std::uint32_t order, Kiv::Ptr<GenSetKeyGroup> const& keys ) { setOrder_.set( order, keys ); }

 private:
  Kiv::RbTreeMap<std::uint32_t, Kiv::Ptr<GenSetKeyGroup>> setOrder_;
};

/// Sets with many labels and many users first; those without users last.
class RefCntCostModel : public GenSetCostModel {
 public:
  RefCntCostModel( EncoderConfig const& config, GenSetUsageInfo const& usage );
};

class EncodedLabelAllocator : public Kiv::Entity {
 public:
  /// Allocates at once: values into `encoderStatus`, which holds none of an earlier run, ranges into `allocStatus`.
  EncodedLabelAllocator( std::uint32_t bitWidth, EncodedLabel reservedLabel,
                         Kiv::Ptr<EncoderConfig const> const& config, Kiv::Ptr<GenSetCostModel const> const& costModel,
                         Kiv::Ptr<EncoderStatus> const& encoderStatus,
                         Kiv::Ptr<EncodedLabelAllocStatus> const& allocStatus );

  Kiv::Ptr<EncodedLabelAllocStatus> const& encLabelAllocStatus() const { return encLabelAllocStatus_; }
  /// Values that may still be left over for rounding blocks up.
  std::uint32_t extraLabelCnt() const { return extraLabelCnt_; }

 private:
  /// A set in the order of the cost model, with the number of labels that no earlier set has.
  struct Need {
    GenSetKey key;
    std::uint32_t labels = 0;
  };

  std::vector<Need> countLabels( GenSetCostModel const& costModel ) const;
  void doAllocateLabels( GenSetKey key, std::uint32_t allocLabelCnt );
  std::vector<EncodedLabelRange> allocateBlocks( std::uint32_t allocLabelCnt );
  std::uint32_t fillBlocks( std::uint32_t range, std::uint32_t labels, std::vector<EncodedLabelRange>& blocks );
  LabelLists::ListId listOf( GenSetKey key ) const;
  void extraLabelCntIs( std::uint32_t count ) { extraLabelCnt_ = count; }
  void extraLabelCntDec( std::uint32_t count ) { extraLabelCnt_ -= count; }

  FreeBlocks encLabelBitMap_;
  Kiv::Ptr<LabelLists const> lists_;
  Kiv::Ptr<EncoderStatus> encoderStatus_;
  Kiv::Ptr<EncodedLabelAllocStatus> encLabelAllocStatus_;
  /// For lists whose labels all have values: the ranges, for the next set that shares the list. Only looked up.
  Kiv::HashMap2018<LabelLists::ListId, Kiv::Ptr<EncodedLabelRangeList>> rangesOfServedList_;
  std::uint32_t extraLabelCnt_ = 0;
};

Kiv::Ptr<EncodedLabelAllocStatus> encodedLabelAllocStatusFactory();
Kiv::Ptr<GenSetCostModel> genSetCostModelFactory();
Kiv::Ptr<GenSetCostModel> refCntCostModelFactory( Kiv::Ptr<EncoderConfig const> const& config,
                                                  Kiv::Ptr<GenSetUsageInfo const> const& usage );
Kiv::Ptr<EncodedLabelAllocator> encodedLabelAllocatorFactory( std::uint32_t bitWidth, EncodedLabel reservedLabel,
                                                              Kiv::Ptr<EncoderConfig const> const& config,
                                                              Kiv::Ptr<GenSetCostModel const> const& costModel,
                                                              Kiv::Ptr<EncoderStatus> const& encoderStatus,
                                                              Kiv::Ptr<EncodedLabelAllocStatus> const& allocStatus );

}  // namespace Orvex
