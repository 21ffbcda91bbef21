#include "client/LiveView.h"

#include <algorithm>
#include <utility>

namespace kelo {

LiveView::LiveView(Terminal& terminal, bool isDrawn, std::string footer)
    : terminal_(terminal), isDrawn_(isDrawn), footer_(std::move(footer)) {}

LiveView::~LiveView() {
    if (isDrawn_)
        terminal_.endDrawing();
}

std::vector<std::string> LiveView::observe(const FanSnapshot& snapshot) {
    auto news = record_.observe(snapshot, terminal_.now());
    draw();
    return news;
}

std::vector<std::string> LiveView::lack(const std::string& reason) {
    auto news = record_.lack(reason, terminal_.now());
    draw();
    return news;
}

bool LiveView::wait(double seconds) {
    const auto end = terminal_.now().seconds + seconds;
    for (;;) {
        switch (terminal_.wait(std::max(0.0, end - terminal_.now().seconds))) {
        case Woken::byTime:
            return true;
        case Woken::byStop:
            return false;
        case Woken::byResize:
            draw();
        }
    }
}

void LiveView::draw() {
    if (isDrawn_)
        terminal_.draw(liveView(record_, terminal_.now().seconds, terminal_.size(), terminal_.style(), footer_));
}

} // namespace kelo
