#pragma once
// The public enumerations of the query engine, with the names and values that
// callers and stored queries rely on. They are plain enumerations with a fixed
// underlying type, so that a value out of range (a caller's 0 or 7) can be held
// and refused by the operation that checks it.

namespace vlq {

enum enumQueryEngineError : int {
  eQEENone = 0,
  eQEEInvalidBaseQueryType = 1,
  eQEEInvalidLookupType = 2,
  eQEEMissingBaseTypePrefix = 3,
  eQEEUnknownBasePrefix = 4,
  eQEEMissingExprPrefix = 5,
  eQEEMissingExprOperator = 6,
  eQEEMissingExprValue = 7,
  eQEEUnknownExprPrefix = 8,
  eQEEProjectNothing = 9,
  eQEEDocsUnsupported = 10,
  eQEEExpressionNothing = 11,
  eQEEUnknownOperandListItemPrefix = 12,
  eQEEInvalidAttrData = 13,
  eQEEBetweenMissingAnd = 14,
  eQEEInMissingItems = 15,
  eQEEInvalidListOperator = 16,
  eQEEUnknownTokenType = 17,
  eQEESystemAttrOp = 18,
  eQEEUnknownUserName = 19,
  eQEEUnknownUserKey = 20,
  eQEEUnknownLocationName = 21,
  eQEEUnknownLocationKey = 22,
  eQEEExprStartErr = 23,
  eQEEExprConnErr = 24,
  eQEEUnknownSortConstant = 25,
  eQEENoQuery = 26,
  eQEEInvalidDiscPriority = 27,
  eQEEInvalidDiscStatus = 28,
  eQEEReqKeyNotNumeric = 29,
  eQEEeQueryReturnTypeKeyNotNumeric = 30,
  eQEEReqTypeAttrKeyNotNumeric = 31,
  eQEEListItemKeyNotNumeric = 32,
  eQEEDataServicesNothing = 33,
  eQEEVelaritNothing = 34,
  eQEECritNoRelCrit = 35,
  eQEECritRelCritMultiple = 36,
  eQEERelCritAllTooComplex = 37,
  eQEEProjReqQueryUnknownAttr = 38,
  eQEEExtProjUnknown = 39,
  eQEEExtProjClosed = 40,
  eQEEProjStruSpecNothing = 41,
  eQEEProjWideQueryExtraString = 42,
  eQEENoDBTraceTempTables = 43,
  eQEEValueTooLong = 44,
  eQEENoCreatePermissions = 45,
  eQEEIllegalProjectReference = 47,
};

enum enumQueryReturnTypes : int {
  eBTNone = 0,
  eBTRequirements = 1,
  eBTDocuments = 2,
  eBTDiscussions = 3,
};

enum enumQueryLookupTypes : int {
  eQLTNone = 0,
  eQLTByPrefix = 1,
  eQLTByKey = 2,
  eQLTByGUID = 3,
};

enum enumReqQueryScope : int {
  eVLSUnknown = 0,
  eVLSReqType = 1,
  eVLSProject = 2,
};

// The value is also the order in which the simple expression reader tries the
// operators, longer comparison signs before shorter ones.
enum enumExpressionOperator : int {
  eEOUnknown = 0,
  eEOBetween = 1,
  eEOOrder = 2,
  eEOULike = 3,
  eEOLike = 4,
  eEOIN = 5,
  eEONotEquals = 6,
  eEOLessThanOrEqual = 7,
  eEOGreaterThanOrEqual = 8,
  eEOLessThan = 9,
  eEOGreaterThan = 10,
  eEOEquals = 11,
  eEOShortOrder = 12,
};

enum enumOrderSpecifier : int {
  eOrdNone = 0,
  eOrdAsc = 1,
  eOrdDesc = 2,
};

enum enumTokenType : int {
  eTTUnknown = 0,
  eTTExpression = 1,
  eTTNotOperator = 2,
  eTTAndConnector = 3,
  eTTOrConnector = 4,
  eTTComplexExpression = 5,
  eTTTypedExpression = 6,
  eTTTypedCompExpression = 7,
  eTTPrefix = 8,
  eTTTypedSortPrefixKey = 9,
};

enum enumSystemAttrKey : int {
  eSAKUnknown = 0,
  eSAKReqKey = -1,
  eSAKReqTag = -2,
  eSAKReqRootTagNbr = -3,
  eSAKReqText = -4,
  eSAKReqAuthorName = -5,
  eSAKReqAuthorKey = -6,
  eSAKReqAuthor = -6,
  eSAKReqLocationName = -7,
  eSAKReqLocationKey = -8,
  eSAKReqLocation = -8,
  eSAKReqRevision = -9,
  eSAKReqReason = -12,
  eSAKReqDiscussionKey = -13,
  eSAKReqDiscussionStatus = -14,
  eSAKReqKeyScalar = -15,
  eSAKReqHierLevel = -16,
  eSAKReqRevDateTime = -17,
  eSAKReqBookmarkName = -18,
  eSAKReqIsDocTextCurrent = -19,
  eSAKReqName = -20,
  eSAKReqDocPosition = -21,
  eSAKReqPackageKey = -22,
  eSAKReqPackageName = -23,
  eSAKReqSuspectDateTime = -24,
  eSAKRelTraceTo = -100,
  eSAKRelTraceFrom = -101,
  eSAKRelStatus = -102,
  eSAKRelDirectOnly = -103,
  eSAKDiscSubject = -201,
  eSAKDiscReqKey = -202,
  eSAKDiscAuthor = -203,
  eSAKDiscAuthorKey = -204,
  eSAKDiscPriority = -205,
  eSAKDiscStatus = -206,
  eSAKDiscGroup = -207,
  eSAKDiscGroupKey = -208,
  eSAKDiscDiscussionKey = -209,
  eSAKDiscSubmitDate = -210,
  eSAKDiscResponses = -211,
  eSAKDiscHasRead = -212,
  eSAKDiscUser = -213,
  eSAKDiscUserKey = -214,
};

enum enumSystemAttribute_ReturnTypes : int {
  eKey = 1,
  ePrefix = 2,
  eGuid = 3,
};

enum enumRelType : int {
  eRTUnknown = 0,
  eRTTraceTo = 1,
  eRTTraceFrom = 2,
};

enum enumStatusType : int {
  eSTAny = 0,
  eSTSuspect = 1,
  eSTNotSuspect = 2,
};

// The dialect of the project's database, from its connection property
// "dbmsnamecode". 2 and 6 are no dialect.
enum enumDatabaseType : int {
  eDBTAccess = 1,
  eDBTOracle = 3,
  eDBTAccess2 = 4,
  eDBTSQLServer = 5,
  eDBTDB2 = 7,
  // Our addition: a project on a PostgreSQL server. Its statements take the
  // nested joins and schema-qualified names of SQL Server and DB2, and
  // standard SQL where those use functions of their own: CASE, CAST,
  // SUBSTRING, CHAR_LENGTH, TIMESTAMP literals, LIKE with an ESCAPE clause,
  // NULLS FIRST in the sort, information_schema for the probes.
  eDBTPostgreSQL = 8,
};

// Attribute data types, the values of AttrDataType.
enum AttrDataType : int {
  eADTList = 0,
  eADTText = 1,
  eADTWholeNumber = 2,
  eADTRealNumber = 3,
  eADTDate = 4,
  eADTTime = 5,
  eADTMultiSelectList = 10,
  eADTBoolean = -1000,
  eADTDateTime = -1001,
};

}  // namespace vlq
