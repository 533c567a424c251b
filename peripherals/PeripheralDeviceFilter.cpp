#include "peripherals/PeripheralDeviceFilter.h"

PeripheralDeviceFilter::PeripheralDeviceFilter() {
  AddChildToElementInConstructor(&m_in);
  AddChildToElementInConstructor(&m_out);
}

PeripheralDeviceFilter::~PeripheralDeviceFilter() = default;

PeripheralDeviceFiltersList::~PeripheralDeviceFiltersList() = default;

PeripheralDeviceFiltersJson::PeripheralDeviceFiltersJson() {
  AddChildToElementInConstructor(&m_name);
  AddChildToElementInConstructor(&m_filters);
}

PeripheralDeviceFiltersJson::~PeripheralDeviceFiltersJson() = default;

// Out of line so that every process shares one exported definition.
const char* PeripheralDeviceFilter::InPeripheralInfo::GetName() const { return "in"; }
const char* PeripheralDeviceFilter::OutPeripheralInfo::GetName() const { return "out"; }
const char* PeripheralDeviceFilter::GetName() const { return "filters"; }
const char* PeripheralDeviceFiltersList::GetName() const { return "filters"; }
int PeripheralDeviceFiltersList::getElementType() const { return kElementOwnedList; }
const char* PeripheralDeviceFiltersJson::Name::GetName() const { return "name"; }
const char* PeripheralDeviceFiltersJson::GetName() const { return "PeripheralDeviceFiltersJson"; }
