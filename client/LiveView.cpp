#include "client/LiveView.h"

#include <algorithm>
#include <utility>

#include "client/Readings.h"

namespace kelo {

LiveView::LiveView(const Surroundings& surroundings, Terminal& terminal, bool isDrawn, Texts texts,
                   double limitAfterStop)
    : terminal_(terminal), isDrawn_(isDrawn), texts_(std::move(texts)), stopAdvice_(surroundings.stopAdvice()),
      helper_(sameVersion(surroundings.connect), terminal,
              {.limitAfterStop = limitAfterStop,
               .onSilence = [this] { reportSilence(); },
               .onChange = [this] { draw(); }}) {}

LiveView::~LiveView() { end(); }

std::vector<std::string> LiveView::observe(const FanSnapshot& snapshot) {
    waiting_.clear();
    auto news = record_.observe(snapshot, terminal_.now());
    draw();
    return news;
}

std::vector<std::string> LiveView::observeFailure(const std::string& reason) {
    waiting_.clear();
    auto news = record_.observeFailure(reason, terminal_.now());
    draw();
    return news;
}

void LiveView::note(const std::string& sentence) {
    record_.note(sentence, terminal_.now());
    draw();
}

void LiveView::reportSilence() {
    waiting_ = waitingText(stopAdvice_);
    if (!isDrawn_)
        terminal_.printError("kelo: " + waiting_ + "\n");
}

void LiveView::pause(double seconds) {
    const auto now = terminal_.now().seconds;
    due_ += seconds;
    if (!(due_ >= now && due_ <= now + seconds))
        due_ = now + seconds;
    while (terminal_.wait(std::max(0.0, due_ - terminal_.now().seconds)) == Woken::byResize)
        draw();
}

void LiveView::end() {
    if (std::exchange(isDrawn_, false))
        terminal_.endDrawing();
}

void LiveView::draw() {
    if (isDrawn_)
        terminal_.draw(liveView(record_, {texts_.command(), waiting_, texts_.keys, terminal_.now()}, terminal_.size(),
                                terminal_.style()));
}

} // namespace kelo
