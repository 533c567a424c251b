// The notification card that the user interface shows for an alarm or event.
//
// A serialisable tree: every node is a nested class that names its JSON key,
// and the constructors attach children in document order. Cards travel as
// JSON in an alarm's additional info 2 and in the card keys ("command/card").
#ifndef DEVMGMT_ALERTS_UHEROCARD_H_
#define DEVMGMT_ALERTS_UHEROCARD_H_

#include <string>

#include "platform/IBoolElement.h"
#include "platform/IElementSerializable.h"
#include "platform/IIntegerElement.h"
#include "platform/IListSerializable.h"
#include "platform/IStringElement.h"

class DM_EXPORT uHeroCard : public IElementSerializable {
 public:
  class DM_EXPORT Content : public IElementSerializable {
   public:
    class DM_EXPORT Version : public IStringElement {
     public:
      Version() { SetValue(std::string("1.0")); }
      const char* GetName() const override;
    };
    class DM_EXPORT Issuer : public IStringElement {
     public:
      const char* GetName() const override;
    };
    class DM_EXPORT Title : public IStringElement {
     public:
      const char* GetName() const override;
    };
    class DM_EXPORT Subtitle : public IStringElement {
     public:
      const char* GetName() const override;
    };
    class DM_EXPORT Text : public IStringElement {
     public:
      const char* GetName() const override;
    };
    class DM_EXPORT Image : public IElementSerializable {
     public:
      class DM_EXPORT URL : public IStringElement {
       public:
        const char* GetName() const override;
      };
      Image();
      ~Image() override;
      const char* GetName() const override;
      URL m_url;
    };
    class DM_EXPORT Images : public IListSerializable<Image> {
     public:
      const char* GetName() const override;
    };
    class DM_EXPORT Button : public IElementSerializable {
     public:
      class DM_EXPORT Type : public IStringElement {
       public:
        const char* GetName() const override;
      };
      class DM_EXPORT Title : public IStringElement {
       public:
        const char* GetName() const override;
      };
      class DM_EXPORT Value : public IStringElement {
       public:
        const char* GetName() const override;
      };
      class DM_EXPORT Icon : public IStringElement {
       public:
        const char* GetName() const override;
      };
      Button();
      ~Button() override;
      const char* GetName() const override;
      Type m_type;
      Title m_title;
      Value m_value;
      Icon m_icon;
    };
    class DM_EXPORT Buttons : public IListSerializable<Button> {
     public:
      const char* GetName() const override;
    };

    Content();
    ~Content() override;
    const char* GetName() const override;

    Version m_version;
    Issuer m_issuer;
    Title m_title;
    Subtitle m_subtitle;
    Text m_text;
    Images m_images;
    Buttons m_buttons;
  };
  class DM_EXPORT Channel : public IStringElement {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT Originator : public IStringElement {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT Delete : public IBoolElement {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT OnOff : public IBoolElement {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT Timeout : public IIntegerElement {
   public:
    const char* GetName() const override;
  };
  class DM_EXPORT Sound : public IElementSerializable {
   public:
    class DM_EXPORT Path : public IStringElement {
     public:
      const char* GetName() const override;
    };
    class DM_EXPORT Repeat : public IBoolElement {
     public:
      const char* GetName() const override;
    };
    Sound();
    ~Sound() override;
    const char* GetName() const override;
    Path m_path;
    Repeat m_repeat;
  };
  class DM_EXPORT Type : public IStringElement {
   public:
    const char* GetName() const override;
  };

  // Builds the default card; the originator names this process, with
  // `suffix` after it when non-empty.
  explicit uHeroCard(const std::string& suffix);
  ~uHeroCard() override;
  const char* GetName() const override;

  // The device string (g699), the separator and this process's command name
  // (from /proc/<pid>/comm), then the separator and `suffix` when non-empty.
  static std::string BuildOriginator(const std::string& suffix);
  // a + separator + b, then separator + c when c is non-empty.
  static std::string BuildOriginator(const std::string& a, const std::string& b, const std::string& c);

  static const std::string separator;

  Content m_content;
  Channel m_channel;
  Originator m_originator;
  Delete m_delete;
  OnOff m_onOff;
  Timeout m_timeout;
  Sound m_sound;
  Type m_type;
};

#endif  // DEVMGMT_ALERTS_UHEROCARD_H_
