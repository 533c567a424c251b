// Filters: a pattern ("in") and its replacement ("out"), the list that holds
// them in priority order, and the document that names the list.
//
// A filters document reads {"name": "...", "filters": [{"in": {...},
// "out": {...}}, ...]}; list position breaks ties between equal scores.
#ifndef DEVMGMT_PERIPHERALS_PERIPHERALDEVICEFILTER_H_
#define DEVMGMT_PERIPHERALS_PERIPHERALDEVICEFILTER_H_

#include "peripherals/PeripheralInfo.h"
#include "platform/IListSerializable.h"

class DM_EXPORT PeripheralDeviceFilter : public IElementSerializable {
 public:
  class DM_EXPORT InPeripheralInfo : public PeripheralInfo {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT OutPeripheralInfo : public PeripheralInfo {
   public:
    const char* GetName() const override;
  };

  PeripheralDeviceFilter();
  ~PeripheralDeviceFilter() override;
  const char* GetName() const override;

  InPeripheralInfo m_in;
  OutPeripheralInfo m_out;
};

class DM_EXPORT PeripheralDeviceFiltersList : public IListSerializable<PeripheralDeviceFilter> {
 public:
  ~PeripheralDeviceFiltersList() override;
  const char* GetName() const override;
  int getElementType() const override;
};

class DM_EXPORT PeripheralDeviceFiltersJson : public IElementSerializable {
 public:
  class DM_EXPORT Name : public IStringElement {
   public:
    const char* GetName() const override;
  };

  PeripheralDeviceFiltersJson();
  ~PeripheralDeviceFiltersJson() override;
  const char* GetName() const override;

  Name m_name;
  PeripheralDeviceFiltersList m_filters;
};

#endif  // DEVMGMT_PERIPHERALS_PERIPHERALDEVICEFILTER_H_
