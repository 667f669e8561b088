// Whether the use of something grows: a line through what was measured, with its error.
#pragma once

#include <string>
#include <vector>

struct Measurement {
    double seconds;
    double value;
};

struct Growth {
    bool judged = false;  // there was enough to judge by
    bool grows = false;
    double per_hour = 0;
    double error_per_hour = 0;  // standard error
    double total = 0;           // from the line's beginning to its end
};

// The first quarter is warming up and left out. Of what remains, the least of each of some stretches counts, since what is in use for a
// moment is no leak. It grows when the line rises by more than three times its error, over the whole time by more than floor, and
// in the later half as well: what only began after a while, and has been in use since, is no leak.
Growth judge_growth(const std::vector<Measurement> &measurements, double floor);
