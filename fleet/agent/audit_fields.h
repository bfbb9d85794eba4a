// The fields of an audit record, for its codec and for the fast reader of lines.
#pragma once

#include "core/base/record_fields.h"
#include "fleet/agent/audit_record.h"

namespace tidra {

template <>
inline constexpr auto fieldsOf<AuditRecord> = recordFields(
    field("seq", &AuditRecord::seq), field("time", &AuditRecord::time), field("host", &AuditRecord::host),
    field("runID", &AuditRecord::runID), field("event", &AuditRecord::event), field("actor", &AuditRecord::actor),
    field("policy", &AuditRecord::policy), bytesField("path", &AuditRecord::path), field("bytes", &AuditRecord::bytes),
    field("freedBytes", &AuditRecord::freedBytes), field("tier", &AuditRecord::tier),
    field("category", &AuditRecord::category), field("ruleID", &AuditRecord::ruleID),
    field("method", &AuditRecord::method), bytesField("destination", &AuditRecord::destination),
    field("reason", &AuditRecord::reason), field("message", &AuditRecord::message),
    field("dryRun", &AuditRecord::dryRun), field("prevHash", &AuditRecord::prevHash),
    field("hash", &AuditRecord::hash));

}  // namespace tidra
