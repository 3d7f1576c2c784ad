#pragma once
// How the engine gets the components beside it. The engine includes nothing of
// their implementations: it asks these factories, whose defaults the platform
// library supplies (the compiled-in catalogue, the INI settings store, the
// system log, the en-US locale). A host may install its own before first use
// on a thread.

#include <functional>
#include <memory>

#include "services/event_log.h"
#include "services/locale_services.h"
#include "services/message_catalogue.h"
#include "services/settings_store.h"

namespace vlq {

struct ComponentFactories {
  std::function<std::shared_ptr<MessageCatalogue>()> messageCatalogue;
  std::function<std::shared_ptr<SettingsStore>()> settingsStore;
  std::function<std::shared_ptr<EventLog>()> eventLog;
  std::function<std::shared_ptr<LocaleServices>()> localeServices;
};

// The platform's components; defined in platform/.
ComponentFactories DefaultComponentFactories();

// Replaces the factories for threads that start using the component after the
// call, and for the calling thread's next use. Missing members keep the
// defaults. Defined in engine/.
void InstallComponentFactories(ComponentFactories factories);

}  // namespace vlq
