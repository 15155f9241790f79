#pragma once

class ContainerRun;

/**
 * While it lives, the first SIGINT cancels `run` and a second one ends the program at once. A SIGINT that was ignored
 * when the program was started stays ignored. One object at a time.
 */
class InterruptWatch
{
public:
    explicit InterruptWatch(ContainerRun &run);
    InterruptWatch(const InterruptWatch &) = delete;
    InterruptWatch &operator=(const InterruptWatch &) = delete;
    ~InterruptWatch();

    /// A SIGINT came.
    bool wasInterrupted() const;
};
