#pragma once
// Shared by the fuzz targets: a silent diagnostics channel and loading raw bytes.

#include <cstddef>
#include <cstdint>

#include "tier1/keyvalues.h"
#include "tier1/keyvaluesparser.h"

// Diagnostics and assertions of broken documents come by the thousand; they go nowhere.
void FuzzSilenceSpew();

// Reads the bytes into pkv with the escape flag given; true when no error was recorded.
bool FuzzLoad(KeyValues* pkv, const uint8_t* pubData, size_t cubData, bool bEscapes,
              CKeyValuesParser* pParser);
