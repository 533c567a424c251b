#include "alerts/SystemAlert.h"

// Out of line so that processes share one exported definition of the record's
// special members.
SystemAlert::SystemAlert() = default;
SystemAlert::SystemAlert(const SystemAlert& other) = default;
SystemAlert& SystemAlert::operator=(const SystemAlert& other) = default;
SystemAlert::~SystemAlert() = default;
std::string SystemAlert::GetTimeStr() { return m_time; }
std::string SystemAlert::GetTimeStr() const { return m_time; }
