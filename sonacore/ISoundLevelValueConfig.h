#pragma once

#include "sonacore/ISampleProcessorConfigBase.h"
#include "sonacore/SonaCoreConstants.h"
#include "sonacore/SonaCoreExport.h"

#include <map>
#include <string>

namespace sonacore::iprocess {

// One kind of sound level value: its short name (the key of soundLevelValueTypes), its long name and, as
// `identifier`, its index into the y series of a delivery.
using SoundLevelValueType = sonacore::constants::SoundLevelUnit;

// The seven kinds of value, one per index of a delivery's y series. They are the library's shared sound
// level units under the names of this interface, not a second table.
inline const SoundLevelValueType& dbaSplFast = sonacore::constants::soundLevelUnits[0];
inline const SoundLevelValueType& dbaSplSlow = sonacore::constants::soundLevelUnits[1];
inline const SoundLevelValueType& dbcSplFast = sonacore::constants::soundLevelUnits[2];
inline const SoundLevelValueType& dbcSplSlow = sonacore::constants::soundLevelUnits[3];
inline const SoundLevelValueType& dbzSplFast = sonacore::constants::soundLevelUnits[4];
inline const SoundLevelValueType& dbzSplSlow = sonacore::constants::soundLevelUnits[5];
inline const SoundLevelValueType& dbfs = sonacore::constants::soundLevelUnits[6];

// The seven kinds keyed by their short name. Its size is the number of values in a delivery.
inline const std::map<std::string, SoundLevelValueType>& soundLevelValueTypes =
    sonacore::constants::soundLevelUnitsByShortLabel;

// The settings of a sound level processor, which measures one channel as a level meter: an A-weighted, a
// C-weighted and an unweighted path, each squared and time-weighted per sample with a fast (125 ms) and a
// slow (1 s) time constant.
//
// What a host receives per calculation: x is seven zeros; y holds seven values in dB re full scale squared,
// at the index `identifier` of each kind above: 0 dBA fast, 1 dBA slow, 2 dBC fast, 3 dBC slow, 4 dBZ fast,
// 5 dBZ slow, 6 dBFS (always equal to dBZ fast). Each is 10 log10 of the largest time-weighted mean square
// within the block, so a constant 1.0 settles at 0 dB and a full-scale sine at -3.01 dB. There is no
// calibration offset and no 20 µPa reference despite the "SPL" in the names, and no floor: digital silence
// gives negative infinity. The filters and time constants are fixed for 48000 Hz; a stream of another rate
// is measured with the same ones.
//
// Blocks: the processor gathers six buffer signals into one block. The first signal after the processor is
// built only sets its filters up; each following six signals then give one delivery, computed on the
// getSampleAmount() samples that end at the sixth (a shorter set is padded with zeros, a longer one cut).
// The sample amount is therefore best six times the buffer's signalling amount. Filters and time-weighted
// states run on across blocks and across stop and start.
//
// Thread affinity: create it and call the setters on the host's thread (the registry has no lock); the
// getters may be read from any thread. Nothing in these settings rebuilds the processor's filters, and none
// of the calls throws.
class SONACORE_EXPORT ISoundLevelValueConfig : public ISampleProcessorConfigBase {
public:
    // Clocked by the audio buffer's signal: the processor counts each signal as a trigger of the buffer's
    // signalling amount, and works on the sampleAmount samples that end at every sixth (see Blocks above).
    // This is the form that delivers levels. Owned by the library until ISonaCore::destroy(); never null.
    static ISoundLevelValueConfig* createInstance(std::string name, unsigned long sampleAmount);
    // Clocked by a timer of refreshRate milliseconds. A tick carries no amount of samples, so the processor
    // never completes a block: each tick logs the warning "[1] IPP IIR filter error (A-WEIGHT):" with the
    // status -8 and size 0, and nothing is delivered. A rate of 0 is refused with the warning "The given
    // refresh rate is invalid! External clock will be activated!", and the buffer's signal clocks instead, as
    // in the form above. Owned by the library until ISonaCore::destroy(); never null.
    static ISoundLevelValueConfig* createInstance(std::string name, unsigned long sampleAmount,
                                                  unsigned long refreshRate);

    ~ISoundLevelValueConfig() override;
};

} // namespace sonacore::iprocess
