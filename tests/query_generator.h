#pragma once
// Seeded random queries in the Velarit Query Language over any open project.
// The generator reads its words from the project object (requirement types
// and their attributes with list items, users, groups, documents, external
// projects and their types) and writes requirement queries with a base type
// (in the project or in an external one), project-wide requirement queries
// and discussion queries, by prefix, key or GUID: system and user attributes
// with every operator, odd and hostile values, NOT, ALL and ANY, nested and
// deeply nested lists, relationship sections with destination criteria, sort
// sections and COUNT. Most queries are meant to be accepted; a share is
// half-broken on purpose (dangling connectors, empty groups, a lone Not,
// wrong operators, values of the wrong type, typos, leftovers).
//
//   QueryGenerator generator(ReadVocabulary(project));
//   GeneratedQuery q = generator.Generate(seed, 17);   // the same text for the same seed and number
//
// The query of a given number depends on the seed, the number and the
// vocabulary alone, so that one query can be replayed without the others.

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "engine/enums.h"
#include "services/project.h"

namespace vlq::test {

// A requirement type with the project it belongs to.
struct TypeWords {
  ReqType Type;
  bool External = false;
  long ProjectKey = 0;     // Project.Key of the project that holds the type
  std::string ProjPrefix;  // external: the reference's prefix
  std::string ProjRelKey;  // external: the reference's relative key
  std::string ProjGUID;    // external: the reference's GUID
};

struct QueryVocabulary {
  long ProjectKey = 0;
  std::vector<TypeWords> Types;  // the project's own types first, then those of its external projects
  std::vector<User> Users;
  std::vector<Group> Groups;
  std::vector<Document> Documents;
};

// Reads the vocabulary of a project and of the external projects it
// references (which are opened for it).
QueryVocabulary ReadVocabulary(const std::shared_ptr<Project>& project);

enum class QueryScope { kReqType, kProjectWide, kDiscussion };

struct GeneratedQuery {
  std::string Text;
  // The same query without its COUNT keyword; the text itself without one.
  std::string TextWithoutCount;
  // The same query without its sort section (and without COUNT); empty when
  // it has none.
  std::string TextWithoutSort;
  enumQueryReturnTypes ReturnType = eBTRequirements;
  enumQueryLookupTypes LookupType = eQLTByPrefix;
  QueryScope Scope = QueryScope::kReqType;
  bool Count = false;
  // The query compares the hierarchy level somewhere.
  bool HierarchyLevel = false;
  // kReqType: the base type as the generator chose it.
  long BaseTypeKey = 0;
  bool BaseExternal = false;
  long BaseProjectKey = 0;
};

// Uniform draws of our own over std::mt19937_64, so that a seed gives the same
// queries with every standard library.
class Draw {
 public:
  Draw(std::uint64_t seed, std::uint64_t stream);
  std::uint64_t Below(std::uint64_t n);  // [0, n)
  long Between(long lo, long hi);        // [lo, hi]
  bool Chance(double p);
  template <class T>
  const T& Pick(const std::vector<T>& items) {
    return items[Below(items.size())];
  }

 private:
  std::mt19937_64 engine_;
};

// A word of a query: bare where the reader would take it whole, else in
// double quotes with inner quotes doubled.
std::string QueryWord(std::string_view text);
// Always quoted.
std::string QuotedWord(std::string_view text);

// The text that names a requirement type in a query by the lookup type: in
// the base section and at the head of its criteria, relationship,
// destination and sort sections.
std::string SpecifierText(const TypeWords& type, enumQueryLookupTypes lookup);

// The GUID of a requirement or relationship system attribute from its two
// distinguishing hex digits.
std::string SystemAttrGUID(std::string_view xx);

class QueryGenerator {
 public:
  explicit QueryGenerator(QueryVocabulary vocabulary);
  GeneratedQuery Generate(std::uint64_t seed, std::uint64_t index) const;
  const QueryVocabulary& Vocabulary() const { return vocabulary_; }

 private:
  QueryVocabulary vocabulary_;
};

}  // namespace vlq::test
