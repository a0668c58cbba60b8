#pragma once

// All signal primitives: status texts, identity and dispatch, aligned memory, element-wise operations, the
// Hann window, the real FFT and the biquad cascade.

#include "ipp/ippcore.h"
#include "ipp/ippsfft.h"
#include "ipp/ippsiir.h"
#include "ipp/ippsmemory.h"
#include "ipp/ippsvector.h"
#include "ipp/ippswindow.h"
#include "ipp/ipptypes.h"
