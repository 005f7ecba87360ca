// Makes room for a fresh item of a fixed name by shifting the older ones up
// through numbered names (log.txt, log1.txt, log2.txt, ...) and dropping the oldest.
#pragma once

#include <cstdint>
#include <string>

// `limit` counts every item kept, the plain one included; 0 or below does nothing.
// True when every step succeeded or there was nothing to do; the first failure
// ends the rotation, with what was already moved left in place.
bool RotateNumbered(std::wstring folder, std::wstring stem, std::wstring extension,
                    std::int32_t limit);
