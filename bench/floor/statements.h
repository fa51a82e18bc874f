#ifndef FLOOR_STATEMENTS_H
#define FLOOR_STATEMENTS_H

/* The statements of the history store, its own texts. */

#ifdef __cplusplus
extern "C" {
#endif

/* Run one after the other when the store is opened; NULL ends the list. */
extern const char* const opening_scripts[];

extern const char* const record_account;
extern const char* const chronicle_tables;
extern const char* const declared;
extern const char* const declare;
extern const char* const last_observation;
extern const char* const upsert_session;
extern const char* const append_event;
extern const char* const current_name;
extern const char* const open_name;
extern const char* const append_observation;
extern const char* const name_history;

#ifdef __cplusplus
}
#endif

#endif
