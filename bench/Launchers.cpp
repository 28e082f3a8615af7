// SPDX-License-Identifier: MIT

// How long it takes until a key that is pressed on one launcher moves the highlight on another one:
// the launchers of examples/ in Qt Quick and in GTK, which know of each other by the list alone.
//
// A press begins when the key is handed to the X server, as one of its keyboard's, and is over when
// the other launcher's toolkit has drawn the first frame in which the tile is highlighted and its
// middle in view. Until the server has put that frame on a screen is not counted.

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "Figures.h"
#include "LauncherRun.h"

namespace {

using bench::LauncherPart;
using bench::LauncherRun;
using bench::Percentile;
using bench::Presses;
using bench::Shown;
using bench::Way;

constexpr int kPresses = 300;
constexpr std::size_t kFew = 50;
constexpr std::size_t kMany = 10000;
constexpr double kTarget = 50;

void PrintHead(std::size_t items, Way way) {
    std::printf("\n%zu items, %s\n%-14s %10s %8s %8s %8s %8s %8s %8s\n", items,
                way == Way::Bus ? "over the bus" : "over direct channels", "", "shown", "list",
                "view", "frame", "p50", "p99", "max");
}

double PercentileOf(const std::vector<Shown>& shown, double Shown::*part, double percent) {
    std::vector<double> values;
    values.reserve(shown.size());
    for (const Shown& each : shown) values.push_back(each.*part);
    return Percentile(values, percent);
}

void PrintLine(const char* which, const std::string& count, const std::vector<Shown>& shown) {
    std::printf("%-14s %10s", which, count.c_str());
    if (!shown.empty()) {
        for (const auto part : {&Shown::toList, &Shown::toView, &Shown::toFrame}) {
            std::printf(" %8.2f", PercentileOf(shown, part, 50));
        }
        for (const double percent : {50, 99, 100}) {
            std::printf(" %8.2f", PercentileOf(shown, &Shown::total, percent));
        }
    }
    std::puts("");
}

std::vector<Shown> Only(bool isScrolled, const Presses& presses) {
    std::vector<Shown> some;
    for (const Shown& each : presses.shown) {
        if (each.isScrolled == isScrolled) some.push_back(each);
    }
    return some;
}

void JudgeP99(const char* what, const std::vector<Shown>& shown) {
    if (!shown.empty()) bench::Judge(what, PercentileOf(shown, &Shown::total, 99), kTarget);
}

void Print(const char* between, const Presses& presses) {
    PrintLine(between, std::to_string(presses.shown.size()) + "/" + std::to_string(presses.pressed),
              presses.shown);
    const std::vector<Shown> scrolled = Only(true, presses);
    const std::vector<Shown> inView = Only(false, presses);
    if (!scrolled.empty()) {
        PrintLine("  in view", std::to_string(inView.size()), inView);
        PrintLine("  scrolled", std::to_string(scrolled.size()), scrolled);
        JudgeP99("p99, ms, in view", inView);
    }
    JudgeP99("p99, ms", presses.shown);
}

// Returns how many presses were lost.
int Measure(std::size_t items, Way way) {
    LauncherRun run(items, way);
    PrintHead(items, way);
    const Presses toGtk = run.Press(LauncherPart::Qml, LauncherPart::Gtk, kPresses);
    Print("QML to GTK", toGtk);
    const Presses toQml = run.Press(LauncherPart::Gtk, LauncherPart::Qml, kPresses);
    Print("GTK to QML", toQml);
    std::fflush(stdout);
    return toGtk.Lost() + toQml.Lost();
}

}  // namespace

int main() {
    try {
        std::puts(
            "A key pressed on one launcher, by XTest, and the highlight on the other, on Xvfb.\n"
            "shown: presses whose highlight came within 2 s. list, view, frame: medians of the\n"
            "ms until the list has the selection, from there until the other launcher's view has\n"
            "been told, and from there to the end of the frame that shows it. p50, p99, max: ms\n"
            "from key to frame. scrolled: those to which the view first had to move.");
        bench::PrintLoad("before");
        int lost = 0;
        for (const std::size_t items : {kFew, kMany}) {
            for (const Way way : {Way::Channel, Way::Bus}) lost += Measure(items, way);
        }
        bench::PrintLoad("after");
        if (lost > 0) std::printf("%d presses were lost\n", lost);
        return lost > 0 ? 1 : 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_launchers: %s\n", error.what());
        return 1;
    }
}
