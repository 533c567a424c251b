// Process-wide instances created on first use, and the helper that lets
// boost::make_shared reach a protected constructor.
//
// Instance() takes no lock: two threads racing on the first call may each
// create an instance, and the later store wins (the other is released).
#ifndef DEVMGMT_EVENTS_SINGLETONHOLDER_H_
#define DEVMGMT_EVENTS_SINGLETONHOLDER_H_

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>

#include "platform/DmExport.h"
#include "platform/uIPCSender.h"

template <class T>
class MakeSharedEnabler : public T {
 public:
  MakeSharedEnabler() = default;
};

template <class T, class Base>
class DM_EXPORT SingletonHolder {
 public:
  static Base* Instance() {
    if (!m_Instance) m_Instance = boost::make_shared<MakeSharedEnabler<T>>();
    return m_Instance.get();
  }

  static boost::shared_ptr<Base> m_Instance;
};

template <class T, class Base>
boost::shared_ptr<Base> SingletonHolder<T, Base>::m_Instance;

// One definition, in the library, shared by every user of the sender.
extern template class SingletonHolder<uIPCSender, uIPCSender>;

#endif  // DEVMGMT_EVENTS_SINGLETONHOLDER_H_
