// All commands of the tool.
#include "cli/Commands.h"

#include "catalogue/CatalogueCommands.h"
#include "check/Checkup.h"
#include "description/LibraryDescription.h"
#include "map/Map.h"
#include "volume/VolumeCommands.h"

void declareCommands(CLI::App& app, Session& session) {
  session.app = &app;
  app.set_version_flag("--version", "tqlib " TQLIB_VERSION);
  app.fallthrough();  // --json and --config may also follow the command
  app.add_flag("--json", session.json, "Print JSON");
  app.add_option("--config", session.config,
                 "Configuration file (else $TQ_PLATFORM_CONFIG, else /etc/tqlib.ini)");
  app.footer(
      "Exit codes: 0 done, 1 refused or failed, 2 wrong usage.\n"
      "The log: the file that $TQ_PLATFORM_LOG names, else standard error.");
  app.require_subcommand(1);
  addInitCommand(app, session);
  addLibraryGroup(app, session);
  addElementCommands(app, session);
  addDriveCommands(app, session);
  addChangeCommands(app, session);
  addDeviceCommands(app, session);
  addStatusCommands(app, session);
  addVolumeCommands(app, session);
  addMapCommand(app, session);
  addCheckCommand(app, session);
  addManualCommand(app, session);
  addCompletionCommands(app, session);
}

std::vector<const CLI::App*> commandsOf(const CLI::App& group) {
  return group.get_subcommands(
      [](const CLI::App* command) { return !command->get_group().empty(); });
}
