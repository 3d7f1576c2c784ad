// The components the engine uses unless a host installs its own: the
// compiled-in message catalogue, the per-user INI settings, the event log of
// the environment and the en-US locale.

#include "platform/event_logs.h"
#include "platform/ini_settings_store.h"
#include "platform/locale_services.h"
#include "platform/message_catalogue.h"
#include "services/components.h"

namespace vlq {

ComponentFactories DefaultComponentFactories() {
  ComponentFactories factories;
  factories.messageCatalogue = [] { return std::make_shared<platform::CompiledMessageCatalogue>(); };
  factories.settingsStore = [] { return std::make_shared<platform::IniSettingsStore>(); };
  // VLQUERYENGINE_LOG is read when a log is made, so a thread's log follows the
  // environment at its first event.
  factories.eventLog = [] { return platform::MakeDefaultEventLog(); };
  factories.localeServices = [] { return std::make_shared<platform::StandardLocaleServices>(); };
  return factories;
}

}  // namespace vlq
