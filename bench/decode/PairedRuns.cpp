#include "bench/decode/PairedRuns.h"

#include <QProcess>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <vector>

namespace {

struct Cost
{
    double wall = 0.0; // seconds
    double cpu = 0.0;
};

Cost CostOf(std::function<void()> const& work)
{
    auto const cpu = std::clock();
    auto const wall = std::chrono::steady_clock::now();
    work();
    std::chrono::duration<double> const elapsed = std::chrono::steady_clock::now() - wall;
    return {elapsed.count(), static_cast<double>(std::clock() - cpu) / CLOCKS_PER_SEC};
}

Spread SpreadOf(std::vector<double> figures)
{
    if (figures.empty())
        return {};
    std::sort(figures.begin(), figures.end());
    return {figures.front(), (figures[(figures.size() - 1) / 2] + figures[figures.size() / 2]) / 2.0, figures.back()};
}

} // namespace

PairedRuns PairedRuns::Measure(int pairs, std::function<void()> const& ours, std::function<void()> const& theirs)
{
    ours();
    theirs();
    std::vector<double> ratios, cpuRatios, ourTimes, theirTimes;
    for (int i = 0; i < pairs; ++i) {
        Cost our, their;
        if (i % 2 == 1)
            their = CostOf(theirs);
        our = CostOf(ours);
        if (i % 2 == 0)
            their = CostOf(theirs);
        ratios.push_back(our.wall / their.wall);
        cpuRatios.push_back(our.cpu / std::max(their.cpu, 1e-6));
        ourTimes.push_back(our.wall);
        theirTimes.push_back(their.wall);
    }
    return {SpreadOf(ratios), SpreadOf(cpuRatios), SpreadOf(ourTimes).median, SpreadOf(theirTimes).median};
}

void PairedRuns::RunProcess(QString const& program, QStringList const& arguments)
{
    QProcess process;
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.start(program, arguments);
    if (!process.waitForFinished(-1) || process.exitCode() != 0)
        std::fprintf(stderr, "%s failed: %s\n", qPrintable(program), process.readAllStandardError().constData());
}
