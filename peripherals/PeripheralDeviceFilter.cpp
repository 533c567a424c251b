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
