#pragma once

/// What the label encoders read and write. Configs are written by the root, statuses by their encoder, in a kick.

#include "Kiv/HashMap2018.h"
#include "Orvex/OrvexGenSetTypes.h"
#include "Orvex/OrvexLoaderTypes.h"
#include "Orvex/OrvexStageSm.h"
#include "Orvex/OrvexXformTypes.h"

namespace Orvex {

class EncoderConfig : public StageConfig {
 public:
  explicit EncoderConfig( Kiv::Ptr<XformStatus const> const& xformStatus ) : xformStatus_( xformStatus ) {}

  /// The transform whose labels are encoded.
  Kiv::Ptr<XformStatus const> const& xformStatus() const { return xformStatus_; }

 private:
  Kiv::Ptr<XformStatus const> xformStatus_;
};

/// The result of an encoder: a value for each plain label, and for each set the ternary entries that match the values of its
/// labels.
class EncoderStatus : public StageStatus {
 public:
  Kiv::HashMap2018<PlainLabel, EncodedLabel> const& plainToEncodedLabel() const { return plainToEncodedLabel_; }
  void plainToEncodedLabelIs( PlainLabel plain, EncodedLabel encoded ) { plainToEncodedLabel_.set( plain, encoded ); }
  void plainToEncodedLabelReserve( std::size_t size ) { plainToEncodedLabel_.reserve( size ); }
  void plainToEncodedLabelDel( PlainLabel plain ) { plainToEncodedLabel_.erase( plain ); }
  void plainToEncodedLabelDelAll() { plainToEncodedLabel_.clear(); }
  bool plainToEncodedLabelHas( PlainLabel plain ) const { return plainToEncodedLabel_.has( plain ); }
  /// Exchanges the whole map, to set it aside and to put it back.
  void plainToEncodedLabelSwap( Kiv::HashMap2018<PlainLabel, EncodedLabel>& other ) {
    std::swap( plainToEncodedLabel_, other );
  }

  Kiv::HashMap2018<GenSetKey, Kiv::Ptr<EncodedLabelWithMaskList>> const& encodedLabelList() const {
    return encodedLabelList_;
  }
  Kiv::Ptr<EncodedLabelWithMaskList> encodedLabelListIs( GenSetKey key );
  void encodedLabelListDel( GenSetKey key ) { encodedLabelList_.erase( key ); }
  void encodedLabelListDelAll() { encodedLabelList_.clear(); }
  bool encodedLabelListHas( GenSetKey key ) const { return encodedLabelList_.has( key ); }

 private:
  Kiv::HashMap2018<PlainLabel, EncodedLabel> plainToEncodedLabel_;
  Kiv::HashMap2018<GenSetKey, Kiv::Ptr<EncodedLabelWithMaskList>> encodedLabelList_;
};

class PrefixEncoderStatus : public EncoderStatus {
 public:
  PrefixEncoderStatus( PrefixXformKey key, Kiv::Ptr<PrefixXformLoaderInfo> const& loaderInfo )
      : key_( key ), loaderInfo_( loaderInfo ) {}

  PrefixXformKey key() const { return key_; }
  Kiv::Ptr<PrefixXformLoaderInfo> const& loaderInfo() const { return loaderInfo_; }

 private:
  PrefixXformKey key_;
  Kiv::Ptr<PrefixXformLoaderInfo> loaderInfo_;
};

class RangeEncoderStatus : public EncoderStatus {
 public:
  RangeEncoderStatus( RangeSetType setType, Kiv::Ptr<RangeSplitLoaderInfo> const& loaderInfo )
      : setType_( setType ), loaderInfo_( loaderInfo ) {}

  RangeSetType setType() const { return setType_; }
  Kiv::Ptr<RangeSplitLoaderInfo> const& loaderInfo() const { return loaderInfo_; }

 private:
  RangeSetType setType_;
  Kiv::Ptr<RangeSplitLoaderInfo> loaderInfo_;
};

class ComboLabelEncoderStatus : public EncoderStatus {
 public:
  ComboLabelEncoderStatus( ComboLabelSetType setType, Kiv::Ptr<ComboLabelLoaderInfo> const& loaderInfo )
      : setType_( setType ), loaderInfo_( loaderInfo ) {}

  ComboLabelSetType setType() const { return setType_; }
  Kiv::Ptr<ComboLabelLoaderInfo> const& loaderInfo() const { return loaderInfo_; }

 private:
  ComboLabelSetType setType_;
  Kiv::Ptr<ComboLabelLoaderInfo> loaderInfo_;
};

}  // namespace Orvex
