#pragma once

#include <QStringList>

#include <functional>

// The middle of several figures and their ends.
struct Spread
{
    double lowest = 0.0;
    double median = 0.0;
    double highest = 0.0;
};

// Two ways to do one thing, measured in alternation, so that a machine with other work to do slows down both alike.
struct PairedRuns
{
    Spread ratio;      // of wall time, ours to theirs, over the pairs
    Spread cpuRatio;   // of this process's processor time; without meaning when the work is done in other processes
    double ours = 0.0; // median seconds
    double theirs = 0.0;

    // Runs each once unmeasured, then `pairs` times both; every other pair begins with theirs.
    static PairedRuns Measure(int pairs, std::function<void()> const& ours, std::function<void()> const& theirs);

    // For measuring whole processes: waits for the program, without its output; a failure is said on standard error.
    static void RunProcess(QString const& program, QStringList const& arguments);
};
