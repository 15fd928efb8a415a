#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "dice.h"
#include "side_by_side.h"

namespace qartest {

/// One operation, or something that happens in the world. It can be repeated, also without the steps before it.
struct Step {
    std::string kind;
    std::string text;
    std::function<void(SideBySide&)> run;
    bool operation = false;
};

/// Makes the random steps of one sequence.
class StepMaker {
public:
    /// @param sides  only looked at, so that moments, cameras and ranges meet those that are there
    StepMaker(uint64_t seed, const SideBySide& sides);

    /// @return how many operations the sequence is to have
    int Operations() const { return operations_; }
    /// The first step sets the scene.
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
    SideBySide::Queue AnyQueue();
    Step RowsFromElsewhere(int plugin);
    /// Lets time pass and devices change.
    Step Happening();

    int Busi();
    int AnyCamera();
    std::set<int> AnyCameras();
    /// @return one of the plug-in's lines of which `is` holds, if there is one
    template <class Predicate>
    std::optional<Key> LineThat(int plugin, Predicate is);
    bool AnyPutOff();
    /// Mostly a line that has points.
    Key AnyLine(int plugin);
    Moment AnyMoment(int plugin, Key key);
    TimeText Write(Moment moment);
    /// The same moment or not, but a text that is read all the same.
    TimeText WriteOddly(Moment moment);
    int AnyState();

    Dice dice_;
    const SideBySide& sides_;
    const int operations_;
    const unsigned int fail_one_in_;
    bool set_ = false;       // the scene is
    bool happened_ = false;  // something has, since the last operation
};

}  // namespace qartest
