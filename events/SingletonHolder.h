// Process-wide instances created on first use, and the helper that lets
// boost::make_shared reach a protected constructor.
//
// Instance() takes no lock: two threads racing on the first call may each
// create an instance, and the later store wins (the other is released).
// When the instance can't be allocated, Instance() logs it and answers null.
// An abstract T cannot be made on first use: its holder must be given an
// instance (m_Instance) by an initialisation call, and asking before that is
// a programming error that stops the process, in release builds too, with
// "Assertion `m_Instance' failed" and the holder's type in the message.
#ifndef DEVMGMT_EVENTS_SINGLETONHOLDER_H_
#define DEVMGMT_EVENTS_SINGLETONHOLDER_H_

#include <cstdio>
#include <cstdlib>
#include <type_traits>

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>

#include "platform/DmBoundary.h"
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
    if constexpr (std::is_abstract<T>::value) {
      if (!m_Instance) {
        std::fprintf(stderr, "%s: Assertion `m_Instance' failed.\n", __PRETTY_FUNCTION__);
        std::abort();
      }
    } else if (!m_Instance) {
      try {
        m_Instance = boost::make_shared<MakeSharedEnabler<T>>();
      } DM_CATCH_AT_BOUNDARY_UNIT(VM_LOG_MODULE_AGENT, "SingletonHolder", nullptr)
    }
    return m_Instance.get();
  }

  static boost::shared_ptr<Base> m_Instance;
};

template <class T, class Base>
boost::shared_ptr<Base> SingletonHolder<T, Base>::m_Instance;

// One definition, in the library, shared by every user of the sender.
extern template class SingletonHolder<uIPCSender, uIPCSender>;

#endif  // DEVMGMT_EVENTS_SINGLETONHOLDER_H_
