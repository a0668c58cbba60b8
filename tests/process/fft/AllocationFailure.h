#pragma once

// Makes one allocation fail on purpose, to reach the paths that handle a vector that cannot grow. The test
// executable replaces the global operator new and delete (plain, array, sized and nothrow forms) by versions
// over malloc and free that behave as usual until armed.

namespace ffttest {

// The next allocation through the global operator new on the calling thread throws std::bad_alloc; every
// later one succeeds again.
void failNextAllocation();

// Disarms a failure that was armed and not yet used up.
void allowAllocations();

} // namespace ffttest
