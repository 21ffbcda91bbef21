#pragma once

#include <cstring>
#include <optional>
#include <vector>

#include "prove/reference/Reference.h"
#include "simulator/model/SimulatedController.h"

namespace kelo {

/// What a hold has to hold its fans at, worked out from nothing but the chip readings that the controller gave it, by
/// the rules of the model beside which the whole helper is proved.
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
        const double wanted = reference::raisedToFloor(asked_, reference::smoothedCelsius(readings_));
        held_ = reference::easedFraction(held_, wanted);
        fullSteps += wanted < held_ ? 1 : 0;
    }

    double asked_;
    double held_;
    std::vector<double> readings_;
    bool isLooking_ = false;
    std::optional<double> reading_;
};

} // namespace kelo
