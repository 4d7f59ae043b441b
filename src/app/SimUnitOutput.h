#pragma once

#include "overlay/UnitOutput.h"

class SimulatedUnit;

// The simulated unit as the output window sees it.
class SimUnitOutput final : public UnitOutputSource {
public:
    explicit SimUnitOutput(SimulatedUnit& unit) : m_unit(unit) {}
    ~SimUnitOutput() override;

    UnitSnapshot snapshot() const override;
    void setChangeHandler(std::function<void()> onChange) override;

private:
    SimulatedUnit& m_unit;
};
