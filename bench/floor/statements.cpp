#include "bench/floor/statements.h"

#include "BrellinCore/store/Statements.h"

namespace statements = brellin::Statements;

const char* const opening_scripts[] = {
    statements::journalMode,         statements::foreignKeys,           statements::schema,
    statements::eventsAreAppendOnly, statements::eventsAreNotDeletable, nullptr};

const char* const record_account = statements::recordAccount;
const char* const chronicle_tables = statements::chronicleTables;
const char* const declared = statements::declared;
const char* const declare = statements::declare;
const char* const last_observation = statements::lastObservation;
const char* const upsert_session = statements::upsertSession;
const char* const append_event = statements::appendEvent;
const char* const current_name = statements::currentName;
const char* const open_name = statements::openName;
const char* const append_observation = statements::appendObservation;
const char* const name_history = statements::nameHistory;
