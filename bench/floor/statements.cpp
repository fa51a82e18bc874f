#include "bench/floor/statements.h"

#include "BrellinCore/store/Statements.h"

namespace statements = brellin::Statements;

const char* const opening_scripts[] = {
    statements::journalMode,         statements::foreignKeys,           statements::schema,
    statements::eventsAreAppendOnly, statements::eventsAreNotDeletable, nullptr};

const char* const record_account = statements::recordAccount;
const char* const known_session_ids = statements::knownSessionIds;
const char* const upsert_session = statements::upsertSession;
const char* const append_event = statements::appendEvent;
const char* const current_name = statements::currentName;
const char* const open_name = statements::openName;
const char* const append_observation = statements::appendObservation;
const char* const name_history = statements::nameHistory;
