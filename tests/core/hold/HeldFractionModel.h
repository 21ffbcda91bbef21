#pragma once

#include <algorithm>
#include <cstring>
#include <deque>
#include <numeric>
#include <optional>

#include "simulator/model/SimulatedController.h"

namespace kelo {

/// What a hold has to hold its fans at, worked out from nothing but the chip readings that the controller gave it.
///
/// Hears the exchanges of one hold in their order. Each look at the sensors, which begins with the first of them, is
/// one evaluation; a look that found no sensor is one without a reading.
class HeldFractionModel {
public:
    explicit HeldFractionModel(double asked) : asked_(asked), held_(asked) {}

    void hear(const ExchangeRecord& record) {
        const auto key = record.key();
        const auto command = static_cast<SMCCommand>(record.request.data8);
        if (key != "Tp09" && key != "Tp0T")
            return concludeLook();
        if (key == "Tp09" && command == SMCCommand::readKeyInfo) {
            concludeLook();
            isLooking_ = true;
        }
        if (command == SMCCommand::readBytes && record.reply && record.reply->result == 0) {
            float celsius = 0;
            std::memcpy(&celsius, record.reply->bytes, sizeof celsius);
            reading_ = static_cast<double>(celsius);
        }
    }

    /// Ends a look at the sensors that no other exchange has followed yet.
    void concludeLook() {
        if (!isLooking_)
            return;
        isLooking_ = false;
        evaluate();
        reading_.reset();
    }

    /// As of the newest evaluation.
    double held() const { return held_; }
    bool isAddingAir() const { return held_ > asked_ + 0.001; }

    int evaluations = 0;
    int evaluationsWithoutReading = 0;
    int fullSteps = 0; ///< Evaluations that eased down as far as one may.

private:
    void evaluate() {
        ++evaluations;
        evaluationsWithoutReading += reading_ ? 0 : 1;
        if (reading_)
            readings_.push_back(*reading_);
        if (readings_.size() > 8)
            readings_.pop_front();
        const double wanted = readings_.empty() ? asked_ : std::max(asked_, floorAt(mean()));
        const double lowest = held_ - 0.02;
        fullSteps += wanted < lowest ? 1 : 0;
        held_ = std::max(wanted, lowest);
    }

    double mean() const {
        return std::accumulate(readings_.begin(), readings_.end(), 0.0) / static_cast<double>(readings_.size());
    }

    static double floorAt(double celsius) {
        if (celsius <= 89)
            return 0;
        if (celsius <= 96)
            return 0.04 + 0.46 * (celsius - 89) / 7;
        return std::min(0.5 + (celsius - 96) / 10, 1.0);
    }

    double asked_;
    double held_;
    std::deque<double> readings_;
    bool isLooking_ = false;
    std::optional<double> reading_;
};

} // namespace kelo
