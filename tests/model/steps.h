#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "dice.h"
#include "side_by_side.h"

namespace qartest {

/// One operation, with what happened in the world before it. It can be repeated, also without the steps before it.
struct Step {
    std::string text;
    std::function<void(SideBySide&)> run;
};

/// Makes the random steps of one sequence.
class StepMaker {
public:
    /// @param sides  only looked at, so that moments, cameras and ranges meet those that are there
    StepMaker(uint64_t seed, const SideBySide& sides);

    int Count() const { return count_; }
    /// The first one sets the scene.
    Step Next();

private:
    struct TimeText {
        std::string text;
        MaybeMoment moment;
    };

    Step Scene();
    Step Operation();
    Step Register(int plugin);
    Step Care(int plugin);
    Step Deletion(int plugin);
    Step AddState(int plugin);
    Step DelRange(int plugin);
    Step Event();
    Step Tick();
    Step RowsFromElsewhere(int plugin);
    /// Lets time pass and devices change.
    Step Happening();

    int Busi();
    int AnyCamera();
    std::set<int> AnyCameras();
    /// Mostly a line that has points.
    Key AnyLine(int plugin);
    Moment AnyMoment(int plugin, Key key);
    TimeText Write(Moment moment);
    int AnyState();

    Dice dice_;
    const SideBySide& sides_;
    const int count_;
    const unsigned int fail_one_in_;
    bool first_ = true;
};

}  // namespace qartest
