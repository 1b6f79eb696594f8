// Property interrogation, implemented once for every adjustable effect.
//
// An effect T inherits IUIPropInterrogateImpl<T, IUIPropInterrogateEx, 10>, registers its
// properties in FinalConstruct (PropE for entries whose choices come from a host string table,
// AddProperty for the others) and never copies values in or out: entries point at T's members.
#pragma once

#include "frame/Object.h"
#include "properties/PropertyTable.h"

namespace properties {

HRESULT Inquire(const UIPropertyTable& table, int id, int* value);
HRESULT Control(const UIPropertyTable& table, int id, int value);
HRESULT ParameterRange(const UIPropertyTable& table, int id, int* minimum, int* maximum);
HRESULT ParameterEnumeration(const UIPropertyTable& table, int id, IUnknown** choices);
HRESULT InquireEx(const UIPropertyTable& table, int id, IUnknown** value);
HRESULT ControlEx(const UIPropertyTable& table, int id, IUnknown* value, CObjectRoot& object);
HRESULT PropE(UIPropertyTable& table, IUnknown* object, int id, void* value, int flags,
              IUnknown* textSource, int textId, int* choicesOption);

HRESULT SaveFolderStream(IUIPropInterrogateEx* self, IUnknown* object, const UIPropertyTable& table,
                         INamedCollection* names, IFolderStream* folder);
HRESULT LoadFolderStream(IUIPropInterrogateEx* self, const UIPropertyTable& table,
                         IFolderStream* folder);
HRESULT SaveXML(IUIPropInterrogateEx* self, IUnknown* object, const UIPropertyTable& table,
                INamedCollection* names, IDataStream* stream);
HRESULT LoadXML(IUIPropInterrogateEx* self, IUnknown* object, const UIPropertyTable& table,
                INamedCollection* names, IDataStream* stream);

}  // namespace properties

template <class T, class Interface, int Growth>
class IUIPropInterrogateImpl : public Interface {
 public:
  HRESULT Inquire(int id, int* value) override {
    return properties::Inquire(m_properties, id, value);
  }
  HRESULT Control(int id, int value) override {
    return properties::Control(m_properties, id, value);
  }
  HRESULT ParameterRange(int id, int* minimum, int* maximum) override {
    return properties::ParameterRange(m_properties, id, minimum, maximum);
  }
  HRESULT ParameterEnumeration(int id, IUnknown** choices) override {
    return properties::ParameterEnumeration(m_properties, id, choices);
  }
  HRESULT InquireEx(int id, IUnknown** value) override {
    return properties::InquireEx(m_properties, id, value);
  }
  HRESULT ControlEx(int id, IUnknown* value) override {
    return properties::ControlEx(m_properties, id, value, *static_cast<T*>(this));
  }
  HRESULT UIPropInterrogate_SaveFolderStream(INamedCollection* names, IFolderStream* folder,
                                             int /*option*/) override {
    return properties::SaveFolderStream(this, Object(), m_properties, names, folder);
  }
  HRESULT UIPropInterrogate_LoadFolderStream(IFolderStream* folder, int /*option*/) override {
    return properties::LoadFolderStream(this, m_properties, folder);
  }
  HRESULT UIPropInterrogate_SaveXML(INamedCollection* names, IDataStream* stream,
                                    int /*option*/) override {
    return properties::SaveXML(this, Object(), m_properties, names, stream);
  }
  HRESULT UIPropInterrogate_LoadXML(INamedCollection* names, IDataStream* stream,
                                    int /*option*/) override {
    return properties::LoadXML(this, Object(), m_properties, names, stream);
  }

  // Adds an entry whose text (and list of choices, split at '|') is entry `textId` of the host
  // string table named by `textSource` (or by this object's component name when it is null).
  HRESULT PropE(int id, void* value, int flags, IUnknown* textSource, int textId,
                int* choicesOption) {
    return properties::PropE(m_properties, Object(), id, value, flags, textSource, textId,
                             choicesOption);
  }
  // Adds an entry with a numeric range and no text.
  UIPropertyEntry* AddProperty(int id, void* value, unsigned flags, int minimum, int maximum) {
    UIPropertyEntry* entry = m_properties.Append(id, value, flags);
    entry->minimum = minimum;
    entry->maximum = maximum;
    return entry;
  }
  void ClearProperties() { m_properties.Clear(); }
  const UIPropertyTable& Properties() const { return m_properties; }

 protected:
  ~IUIPropInterrogateImpl() = default;
  UIPropertyTable m_properties{Growth};

 private:
  IUnknown* Object() { return static_cast<CObjectRoot*>(static_cast<T*>(this)); }
};
