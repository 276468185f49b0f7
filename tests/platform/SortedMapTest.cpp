#include "Kiv/SortedMap.h"

#include <gtest/gtest.h>

#include "platform/MapModel.h"

namespace {

TEST( SortedMap, AgreesWithAModel ) { MapModel::run<Kiv::SortedMap<MapModel::OrderedKey, Kiv::String>>(); }

}  // namespace
