// countdown.h - lets one allocation fail.
#pragma once

extern long countdown;  // allocations until one fails; negative: none does
extern bool happened;   // one failed
