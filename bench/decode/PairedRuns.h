#pragma once

#include <QStringList>

#include <functional>

// The median of several figures, with the lowest and the highest.
struct Spread
{
    double lowest = 0.0;
    double median = 0.0;
    double highest = 0.0;
};

// Measures two ways to do one thing in alternation, so that other load on the machine affects both equally.
struct PairedRuns
{
    Spread ratio;      // of wall time, ours to theirs, over the pairs
    Spread cpuRatio;   // of this process's processor time; meaningless for work in other processes
    double ours = 0.0; // median seconds
    double theirs = 0.0;

    // Runs each once unmeasured, then both `pairs` times; every other pair starts with theirs.
    static PairedRuns Measure(int pairs, std::function<void()> const& ours, std::function<void()> const& theirs);

    // Runs a program without its output and waits for it; reports a failure on standard error.
    static void RunProcess(QString const& program, QStringList const& arguments);
};
