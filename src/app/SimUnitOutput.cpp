#include "app/SimUnitOutput.h"

#include "sim/SimulatedUnit.h"

SimUnitOutput::~SimUnitOutput() {
    m_unit.setChangeListener({});
}

UnitSnapshot SimUnitOutput::snapshot() const {
    return m_unit.snapshot();
}

void SimUnitOutput::setChangeHandler(std::function<void()> onChange) {
    m_unit.setChangeListener(std::move(onChange));
}
