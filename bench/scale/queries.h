#pragma once
// The queries of the scale benchmark and, beside each, the statement an
// engineer would write for SQLite by hand for the same answer. {T:PR} stands
// for the key of type PR, {A:SR.Priority} for that of an attribute,
// {I:SR.Priority.High} for that of a list item; the base project is key 1.
// limit: the ratio engine / statement that the benchmark aims at.
//
// idiomaticPg is the same for PostgreSQL, where it has to differ: a derived
// table needs a name, a common table isn't a list for IN, a free value is
// text that a number is read from, and the external project is the schema
// {X}. Text columns there compare, sort and match LIKE without regard to
// case, as in the file, so the LIKE and ORDER BY clauses carry over as they
// are. nullptr: the SQLite statement runs there unchanged.
#include <vector>

namespace bench {

struct ScaleQuery {
  const char* name;
  const char* query;
  bool hierarchy;
  bool discussions;
  bool ordered;       // the keys come in an order both must give
  bool withAnalyze;   // measured again after ANALYZE
  double limit;
  const char* idiomatic;
  const char* idiomaticPg = nullptr;
};

// A type's requirements in the base project.
#define VLQ_BENCH_OF_TYPE(T)                                                                       \
  "SELECT r.ID, r.REQUIREMENTTYPEID, r.LONGTAGNUMBER FROM VLREQUIREMENTS r "                        \
  "JOIN VLPROJECTREQUIREMENTS p ON p.REQUIREMENTID = r.ID AND p.PROJECTID = 1 "                     \
  "WHERE r.REQUIREMENTTYPEID = {T:" T "}"

// The rest of a tree order's recursive statement, behind the hits in t: each
// row's parent (same type and project, tag less its last group), then every
// row in tag order.
#define VLQ_BENCH_ANCESTORS_BY_TAG                                                                 \
  "UNION SELECT p.ID, p.REQUIREMENTTYPEID, p.LONGTAGNUMBER FROM t JOIN VLREQUIREMENTS p "          \
  "ON p.REQUIREMENTTYPEID = t.TYPEID AND p.LONGTAGNUMBER = substr(t.TAG, 1, length(t.TAG) - 10) "   \
  "WHERE length(t.TAG) > 10 AND EXISTS (SELECT 1 FROM VLPROJECTREQUIREMENTS pp WHERE pp.REQUIREMENTID = p.ID " \
  "AND pp.PROJECTID = 1)) SELECT ID FROM t ORDER BY TAG"

// The statements keep the layout of their clauses.
// clang-format off
inline const std::vector<ScaleQuery>& ScaleQueries() {
  static const std::vector<ScaleQuery> queries = {
      {"SR Priority = High", "ReqType.Prefix(SR) SR.Criteria(Priority = High)", false, false, true, true, 1.5,
       VLQ_BENCH_OF_TYPE("SR") " AND EXISTS (SELECT 1 FROM VLUSERDEFINEDLISTVALUES v WHERE v.REQUIREMENTID = r.ID "
                               "AND v.FIELDID = {A:SR.Priority} AND v.LISTITEMID = {I:SR.Priority.High}) "
                               "ORDER BY r.LONGTAGNUMBER"},
      // Hits and their ancestors (same type and project, tag less its last
      // group); tag order is tree order when siblings sort by tag.
      {"SR Priority = High, tree order", "ReqType.Prefix(SR) SR.Criteria(Priority = High)", true, false, true, true,
       3.0,
       "WITH RECURSIVE t(ID, TYPEID, TAG) AS ("
       "SELECT * FROM (" VLQ_BENCH_OF_TYPE("SR") " AND EXISTS (SELECT 1 FROM VLUSERDEFINEDLISTVALUES v "
       "WHERE v.REQUIREMENTID = r.ID AND v.FIELDID = {A:SR.Priority} AND v.LISTITEMID = {I:SR.Priority.High})) "
       VLQ_BENCH_ANCESTORS_BY_TAG,
       "WITH RECURSIVE t(ID, TYPEID, TAG) AS ("
       "SELECT * FROM (" VLQ_BENCH_OF_TYPE("SR") " AND EXISTS (SELECT 1 FROM VLUSERDEFINEDLISTVALUES v "
       "WHERE v.REQUIREMENTID = r.ID AND v.FIELDID = {A:SR.Priority} AND v.LISTITEMID = {I:SR.Priority.High})) h "
       VLQ_BENCH_ANCESTORS_BY_TAG},
      // Chains of at most 50 traces from each PR, the status per chain (one
      // suspect step makes it suspect), ending in a direct trace to a High SR.
      {"PR indirectly traced to High SR",
       "ReqType.Prefix(PR) PR.RelCriteria(TRACED-TO In SR AND DIRECT-ONLY = \"FALSE\") SR.Criteria(Priority = High)",
       false, false, true, true, 2.0,
       "WITH RECURSIVE dest(ID) AS (SELECT ID FROM (" VLQ_BENCH_OF_TYPE("SR") " AND EXISTS (SELECT 1 FROM "
       "VLUSERDEFINEDLISTVALUES v WHERE v.REQUIREMENTID = r.ID AND v.FIELDID = {A:SR.Priority} AND "
       "v.LISTITEMID = {I:SR.Priority.High}))), "
       "direct(ID) AS (SELECT t.REQUIREMENTID FROM VLTORELATIONSHIPS t JOIN dest ON dest.ID = t.TOID "
       "WHERE t.TYPE = 0 AND t.EXTERNALPROJECTID = 0 AND t.EXTERNALPROJECTTOID = 0), "
       "base(ID, TAG) AS (SELECT ID, LONGTAGNUMBER FROM (" VLQ_BENCH_OF_TYPE("PR") ")), "
       "walk(ROOT, PROJ, ID, STATUS, DEPTH) AS ("
       "SELECT t.REQUIREMENTID, t.EXTERNALPROJECTTOID, t.TOID, t.STATE, 1 FROM base JOIN VLTORELATIONSHIPS t "
       "ON t.REQUIREMENTID = base.ID AND t.EXTERNALPROJECTID = 0 WHERE t.TYPE = 0 "
       "UNION SELECT w.ROOT, t.EXTERNALPROJECTTOID, t.TOID, CASE WHEN w.STATUS = 1 THEN 1 ELSE t.STATE END, "
       "w.DEPTH + 1 FROM walk w JOIN VLTORELATIONSHIPS t ON t.REQUIREMENTID = w.ID AND t.EXTERNALPROJECTID = w.PROJ "
       "WHERE t.TYPE = 0 AND w.DEPTH < 50) "
       "SELECT ID FROM base WHERE ID IN direct OR ID IN (SELECT w.ROOT FROM walk w WHERE w.PROJ = 0 AND w.ID IN "
       "direct AND EXISTS (SELECT 1 FROM VLPROJECTREQUIREMENTS p WHERE p.REQUIREMENTID = w.ID AND p.PROJECTID = 1)) "
       "ORDER BY TAG",
       "WITH RECURSIVE dest(ID) AS (SELECT ID FROM (" VLQ_BENCH_OF_TYPE("SR") " AND EXISTS (SELECT 1 FROM "
       "VLUSERDEFINEDLISTVALUES v WHERE v.REQUIREMENTID = r.ID AND v.FIELDID = {A:SR.Priority} AND "
       "v.LISTITEMID = {I:SR.Priority.High})) h), "
       "direct(ID) AS (SELECT t.REQUIREMENTID FROM VLTORELATIONSHIPS t JOIN dest ON dest.ID = t.TOID "
       "WHERE t.TYPE = 0 AND t.EXTERNALPROJECTID = 0 AND t.EXTERNALPROJECTTOID = 0), "
       "base(ID, TAG) AS (SELECT ID, LONGTAGNUMBER FROM (" VLQ_BENCH_OF_TYPE("PR") ") b), "
       "walk(ROOT, PROJ, ID, STATUS, DEPTH) AS ("
       "SELECT t.REQUIREMENTID, t.EXTERNALPROJECTTOID, t.TOID, t.STATE, 1 FROM base JOIN VLTORELATIONSHIPS t "
       "ON t.REQUIREMENTID = base.ID AND t.EXTERNALPROJECTID = 0 WHERE t.TYPE = 0 "
       "UNION SELECT w.ROOT, t.EXTERNALPROJECTTOID, t.TOID, CASE WHEN w.STATUS = 1 THEN 1 ELSE t.STATE END, "
       "w.DEPTH + 1 FROM walk w JOIN VLTORELATIONSHIPS t ON t.REQUIREMENTID = w.ID AND t.EXTERNALPROJECTID = w.PROJ "
       "WHERE t.TYPE = 0 AND w.DEPTH < 50) "
       "SELECT ID FROM base WHERE ID IN (SELECT ID FROM direct) OR ID IN (SELECT w.ROOT FROM walk w "
       "WHERE w.PROJ = 0 AND w.ID IN (SELECT ID FROM direct) AND EXISTS (SELECT 1 FROM VLPROJECTREQUIREMENTS p "
       "WHERE p.REQUIREMENTID = w.ID AND p.PROJECTID = 1)) ORDER BY TAG"},
      {"PR Priority = High by name", "ReqType.Prefix(PR) PR.Criteria(Priority = High) PR.Sort(Name Order Asc)",
       false, false, true, true, 1.5,
       "SELECT r.ID FROM VLREQUIREMENTS r JOIN VLPROJECTREQUIREMENTS p ON p.REQUIREMENTID = r.ID AND p.PROJECTID = 1 "
       "JOIN VLUSERDEFINEDLISTVALUES v ON v.REQUIREMENTID = r.ID AND v.FIELDID = {A:PR.Priority} "
       "AND v.LISTITEMID = {I:PR.Priority.High} WHERE r.REQUIREMENTTYPEID = {T:PR} "
       "ORDER BY r.REQUIREMENTNAME, r.LONGTAGNUMBER"},
      {"COUNT SR Components, Risk >= 8",
       "COUNT ReqType.Prefix(SR) SR.Criteria(Components In Security, Storage AND Risk >= 8)", false, false, true, true,
       1.5,
       "SELECT COUNT(*) FROM (" VLQ_BENCH_OF_TYPE("SR") " AND EXISTS (SELECT 1 FROM VLUSERDEFINEDLISTVALUES v "
       "WHERE v.REQUIREMENTID = r.ID AND v.FIELDID = {A:SR.Components} AND v.LISTITEMID IN "
       "({I:SR.Components.Security}, {I:SR.Components.Storage})) AND EXISTS (SELECT 1 FROM VLUSERDEFINEDFIELDVALUES f "
       "WHERE f.REQUIREMENTID = r.ID AND f.FIELDID = {A:SR.Risk} AND f.FIELDVALUE >= 8))",
       "SELECT COUNT(*) FROM (" VLQ_BENCH_OF_TYPE("SR") " AND EXISTS (SELECT 1 FROM VLUSERDEFINEDLISTVALUES v "
       "WHERE v.REQUIREMENTID = r.ID AND v.FIELDID = {A:SR.Components} AND v.LISTITEMID IN "
       "({I:SR.Components.Security}, {I:SR.Components.Storage})) AND EXISTS (SELECT 1 FROM VLUSERDEFINEDFIELDVALUES f "
       "WHERE f.REQUIREMENTID = r.ID AND f.FIELDID = {A:SR.Risk} AND CAST(f.FIELDVALUE AS numeric) >= 8)) h"},
      {"PR traced to FEAT, suspect", "ReqType.Prefix(PR) PR.RelCriteria(TRACED-TO In FEAT AND STATUS = \"SUSPECT\")",
       false, false, true, true, 1.5,
       "SELECT ID FROM (" VLQ_BENCH_OF_TYPE("PR") ") b WHERE EXISTS (SELECT 1 FROM VLTORELATIONSHIPS t "
       "JOIN VLREQUIREMENTS d ON d.ID = t.TOID AND d.REQUIREMENTTYPEID = {T:FEAT} "
       "JOIN VLPROJECTREQUIREMENTS dp ON dp.REQUIREMENTID = d.ID AND dp.PROJECTID = 1 "
       "WHERE t.REQUIREMENTID = b.ID AND t.TYPE = 0 AND t.EXTERNALPROJECTID = 0 AND t.EXTERNALPROJECTTOID = 0 "
       "AND t.STATE = 1) ORDER BY LONGTAGNUMBER"},
      {"FEAT Difficulty = 5, tree order", "ReqType.Prefix(FEAT) FEAT.Criteria(Difficulty = 5)", true, false, true,
       true, 3.0,
       "WITH RECURSIVE t(ID, TYPEID, TAG) AS ("
       "SELECT * FROM (" VLQ_BENCH_OF_TYPE("FEAT") " AND EXISTS (SELECT 1 FROM VLUSERDEFINEDFIELDVALUES f "
       "WHERE f.REQUIREMENTID = r.ID AND f.FIELDID = {A:FEAT.Difficulty} AND f.FIELDVALUE = 5)) "
       VLQ_BENCH_ANCESTORS_BY_TAG,
       "WITH RECURSIVE t(ID, TYPEID, TAG) AS ("
       "SELECT * FROM (" VLQ_BENCH_OF_TYPE("FEAT") " AND EXISTS (SELECT 1 FROM VLUSERDEFINEDFIELDVALUES f "
       "WHERE f.REQUIREMENTID = r.ID AND f.FIELDID = {A:FEAT.Difficulty} AND CAST(f.FIELDVALUE AS numeric) = 5)) h "
       VLQ_BENCH_ANCESTORS_BY_TAG},
      // The whole project: its types in turn, names falling, then tags.
      {"Text Like %log%, by name falling",
       "REQUIREMENT.Criteria(Text Like \"%log%\") REQUIREMENT.Sort(Name Order Desc)", false, false, true, true, 1.5,
       "SELECT r.ID FROM VLREQUIREMENTS r JOIN VLPROJECTREQUIREMENTS p ON p.REQUIREMENTID = r.ID AND p.PROJECTID = 1 "
       "WHERE r.REQUIREMENTTEXT LIKE '%log%' "
       "ORDER BY r.REQUIREMENTTYPEID, r.REQUIREMENTNAME DESC, r.LONGTAGNUMBER"},
      // The external project's file is attached as ext; on the server it is
      // the schema beside the project's.
      {"EXT.PR Priority = High", "ReqType.Prefix(EXT.PR) EXT.PR.Criteria(Priority = High)", false, false, true, true,
       1.5,
       "SELECT r.ID FROM ext.VLREQUIREMENTS r JOIN ext.VLPROJECTREQUIREMENTS p ON p.REQUIREMENTID = r.ID "
       "AND p.PROJECTID = (SELECT ID FROM ext.VLPROJECT) "
       "WHERE r.REQUIREMENTTYPEID = (SELECT ID FROM ext.VLREQUIREMENTTYPES WHERE PREFIX = 'PR') "
       "AND EXISTS (SELECT 1 FROM ext.VLUSERDEFINEDLISTVALUES v JOIN ext.VLATTRIBUTES a ON a.ID = v.FIELDID "
       "AND a.LABEL = 'Priority' AND a.REQUIREMENTTYPEID = r.REQUIREMENTTYPEID JOIN ext.VLUSERDEFINEDLISTITEMS i "
       "ON i.FIELDID = v.FIELDID AND i.ITEMID = v.LISTITEMID AND i.ITEMTEXT = 'High' WHERE v.REQUIREMENTID = r.ID) "
       "ORDER BY r.LONGTAGNUMBER",
       "SELECT r.ID FROM {X}.VLREQUIREMENTS r JOIN {X}.VLPROJECTREQUIREMENTS p ON p.REQUIREMENTID = r.ID "
       "AND p.PROJECTID = (SELECT ID FROM {X}.VLPROJECT) "
       "WHERE r.REQUIREMENTTYPEID = (SELECT ID FROM {X}.VLREQUIREMENTTYPES WHERE PREFIX = 'PR') "
       "AND EXISTS (SELECT 1 FROM {X}.VLUSERDEFINEDLISTVALUES v JOIN {X}.VLATTRIBUTES a ON a.ID = v.FIELDID "
       "AND a.LABEL = 'Priority' AND a.REQUIREMENTTYPEID = r.REQUIREMENTTYPEID JOIN {X}.VLUSERDEFINEDLISTITEMS i "
       "ON i.FIELDID = v.FIELDID AND i.ITEMID = v.LISTITEMID AND i.ITEMTEXT = 'High' WHERE v.REQUIREMENTID = r.ID) "
       "ORDER BY r.LONGTAGNUMBER"},
      // Topics (no parent) of the project that the current user (key 1) may
      // read; dates can tie, so the keys are compared as a set.
      {"Discussions Subject Like %log%",
       "DISCUSSION.Criteria(Subject Like \"%log%\") DISCUSSION.Sort(SubmitDate Order Desc)", false, true, false, true,
       1.5,
       "SELECT d.ID FROM VLDISCUSSIONS d WHERE d.PARENTID = 0 AND d.SUBJECT LIKE '%log%' "
       "AND EXISTS (SELECT 1 FROM VLPROJECTDISCUSSIONS pd WHERE pd.DISCUSSIONID = d.ROOTID AND pd.PROJECTID = 1) "
       "AND (d.RESTRICTED > 0 OR (d.RESTRICTED = 0 AND (d.AUTHORID = 1 "
       "OR EXISTS (SELECT 1 FROM VLDISCUSSIONUSERS u WHERE u.DISCUSSIONID = d.ROOTID AND u.USERID = 1) "
       "OR EXISTS (SELECT 1 FROM VLDISCUSSIONGROUPS g WHERE g.DISCUSSIONID = d.ROOTID AND g.GROUPID = 1)))) "
       "ORDER BY d.SUBMITDATETIME DESC"},
  };
  return queries;
}
// clang-format on

#undef VLQ_BENCH_OF_TYPE
#undef VLQ_BENCH_ANCESTORS_BY_TAG

}  // namespace bench
