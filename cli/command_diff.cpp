// tkstream diff: compares two files section by section (the store's settings, then dataset by
// dataset: attributes, lists, node table, pointers, connections, wells and the WAF set), record
// by record and value by value, with tolerances for Single and Double values. Records are matched
// by keyword (and, for per-well, per-header and per-connection records, by the row number their
// "CNT" record gives), so a difference in record order is no difference.
#include <cmath>
#include <cstring>
#include <map>
#include <set>
#include <tuple>

#include "cli/commands.hpp"
#include "cli/progress.hpp"
#include "cli/record_fields.hpp"
#include "cli/record_scan.hpp"
#include "streamstore/store_file_view.hpp"

namespace tkstream_cli {

using namespace tkstream63;

namespace {

struct Entry {
    std::string keyword;
    std::string type;
    int32_t row = 0;     // the "CNT" row of a per-row record, else 0
    int occurrence = 0;  // how many entries with the same keyword and row came before it
    RecordValues values;
};

// The records of one section, under the name the differences are reported with.
struct Scope {
    std::string name;      // "store", "dataset 2", "dataset 2 wells", "dataset 2 WAF", ...
    int32_t dataset = 0;   // the dataset it belongs to, 0 for none
    std::string group;     // what its records are to a user unless their keyword says more
    std::vector<Entry> entries;
};

struct FileModel {
    std::vector<Scope> scopes;
    int32_t dataSets = 0;

    const Scope* find(const std::string& name) const {
        for (const Scope& scope : scopes)
            if (scope.name == name) return &scope;
        return nullptr;
    }
};

using EntryKey = std::tuple<std::string, int32_t, int>;
EntryKey keyOf(const Entry& entry) { return {entry.keyword, entry.row, entry.occurrence}; }

FileModel readModel(const std::string& path, const Console& console) {
    RecordFile file;
    openForReading(file, path);
    ProgressBar bar(file, console, "reading " + path);
    FileModel model;
    model.scopes.push_back({"file", 0, "records outside any section", {}});
    struct Open {
        size_t scope;
        int32_t row;
        std::map<std::pair<std::string, int32_t>, int> seen;
    };
    std::vector<Open> open = {{0, 0, {}}};
    const std::vector<ScanProblem> problems = scanRecords(file, [&](const ScannedRecord& record) {
        std::string section;
        if (opensSection(record, section)) {
            const Scope& parent = model.scopes[open.back().scope];
            Scope scope{parent.name + " " + section, parent.dataset, "", {}};
            if (section == "STREAMSTORE") {
                scope = {"store", 0, "store settings", {}};
            } else if (section == "STREAMSET") {
                scope.dataset = ++model.dataSets;
                scope.name = "dataset " + std::to_string(scope.dataset);
            } else if (section == "WELLINFO") {
                scope.name = parent.name + " wells";
                scope.group = "wells";
            } else if (section == "WAF") {
                scope.group = "WAF set";
            }
            model.scopes.push_back(std::move(scope));
            open.push_back({model.scopes.size() - 1, 0, {}});
            return true;
        }
        if (closesSection(record, section)) {
            if (open.size() > 1) open.pop_back();
            return true;
        }
        // A store's index describes where its own records lie, not what they hold.
        if (record.keyword == kStoreIndexKeyword) return true;
        Open& current = open.back();
        if (record.keyword == "CNT" && record.type == "INTE" && record.count >= 1) {
            current.row = std::get<Array<int32_t>>(record.values).data()[0];
            return true;
        }
        Entry entry{record.keyword, record.type, isPerRowRecord(record.keyword) ? current.row : 0, 0, record.values};
        entry.occurrence = current.seen[{entry.keyword, entry.row}]++;
        model.scopes[current.scope].entries.push_back(std::move(entry));
        return true;
    });
    if (!problems.empty()) throw CommandError(problems.front().message);
    return model;
}

// ---- naming a value ----

// The context a scope gives its table records: their bounds and the node table's column names.
struct ScopeContext {
    std::map<std::string, std::vector<int32_t>> bounds;
    std::map<int32_t, std::string> columnNames;
    const Array<int32_t>* pointers = nullptr;

    explicit ScopeContext(const Scope& scope) {
        for (const Entry& entry : scope.entries) {
            if (entry.keyword == "ISLINEDATA") pointers = std::get_if<Array<int32_t>>(&entry.values);
            if (const auto* longs = std::get_if<Array<int32_t>>(&entry.values))
                bounds[entry.keyword].assign(longs->data(), longs->data() + longs->size());
            if (entry.keyword == "ZHEADERS")
                if (const auto* texts = std::get_if<std::vector<std::string>>(&entry.values); texts && !texts->empty())
                    columnNames[entry.row] = texts->front();
        }
    }

    // "streamline s node n" for a node-table row, by the pointer table (first row, node count).
    std::string streamlineOfRow(int32_t row) const {
        const auto found = bounds.find("ISTREAMLINE");
        if (pointers == nullptr || found == bounds.end() || found->second.size() < 2 || found->second[0] < 2) return "";
        const auto columns = static_cast<size_t>(found->second[0]);
        for (size_t at = 0; at + 1 < pointers->size(); at += columns) {
            const int32_t first = pointers->data()[at], count = pointers->data()[at + 1];
            if (count > 0 && row >= first && row - first < count)
                return "streamline " + std::to_string(at / columns + 1) + " node " + std::to_string(row - first + 1);
        }
        return "";
    }
};

std::string valueText(const RecordValues& values, size_t k) {
    return std::visit(
        [k](const auto& body) -> std::string {
            using Body = std::decay_t<decltype(body)>;
            if constexpr (std::is_same_v<Body, std::monostate>) {
                return "";
            } else {
                const auto& v = body.data()[k];
                using Value = std::decay_t<decltype(v)>;
                if constexpr (std::is_same_v<Value, std::string>) return inQuotes(v);
                else if constexpr (std::is_same_v<Value, bool>) return v ? "True" : "False";
                else if constexpr (std::is_floating_point_v<Value>) return numberText(v);
                else return std::to_string(v);
            }
        },
        values);
}

std::string recordName(const Entry& entry) {
    return entry.row != 0 ? entry.keyword + " of row " + std::to_string(entry.row) : entry.keyword;
}

// Where item k (from 0) of an entry sits, in words.
std::string placeOf(const Entry& entry, size_t k, const ScopeContext& context) {
    std::string place = recordName(entry);
    if (const TableLayout* layout = tableLayout(entry.keyword)) {
        const auto bounds = context.bounds.find(std::string(layout->boundsKeyword));
        if (bounds != context.bounds.end() && bounds->second.size() >= 2 && bounds->second[0] > 0) {
            const auto first = static_cast<size_t>(bounds->second[0]);
            const auto second = static_cast<size_t>(std::max(bounds->second[1], 0));
            // The entry tables start their second dimension at 0: one slot more than the bound.
            const size_t lower2 = valueCount(entry.values) == first * (second + 1) ? 0 : 1;
            const auto i = static_cast<int32_t>(k % first + 1);
            place += " " + std::string(layout->firstName) + " " + std::to_string(i) + " " + layout->secondName + " " +
                     std::to_string(k / first + lower2);
            if (entry.keyword == "SLINEDATA") {
                // The node table is (row, column): the second index is the column.
                const std::string streamline = context.streamlineOfRow(i);
                place = entry.keyword + " row " + std::to_string(i) + (streamline.empty() ? "" : " (" + streamline + ")") +
                        " column " + std::to_string(k / first + 1);
                const auto name = context.columnNames.find(static_cast<int32_t>(k / first + 1));
                if (name != context.columnNames.end()) place += " (" + name->second + ")";
            }
            return place;
        }
    }
    place += " item " + std::to_string(k + 1);
    const std::string_view name = itemName(entry.keyword, k + 1);
    if (!name.empty()) place += " (" + std::string(name) + ")";
    return place;
}

// ---- comparing ----

class Comparison {
public:
    Comparison(const DiffOptions& options, std::ostream& out) : options_(options), out_(out) {}

    void scopes(const FileModel& a, const FileModel& b) {
        std::set<std::string> seen;
        for (const Scope& scope : a.scopes) {
            if (!wanted(scope)) continue;
            seen.insert(scope.name);
            const Scope* other = b.find(scope.name);
            if (other == nullptr) {
                if (!scope.entries.empty() || scope.dataset > 0) onlyIn(scope, "A");
            } else {
                entries(scope, *other);
            }
        }
        for (const Scope& scope : b.scopes)
            if (wanted(scope) && !seen.count(scope.name) && (!scope.entries.empty() || scope.dataset > 0))
                onlyIn(scope, "B");
    }

    int64_t differences() const { return differences_; }
    int64_t comparedRecords() const { return comparedRecords_; }
    const std::map<std::string, int64_t>& byGroup() const { return byGroup_; }

private:
    bool wanted(const Scope& scope) const { return options_.dataset == 0 || scope.dataset == options_.dataset; }

    // A whole section found in one file only is one difference.
    void onlyIn(const Scope& scope, const char* file) {
        report(scope, scope.group.empty() ? "dataset" : scope.group, "the whole section",
               std::string("only in ") + file, "");
    }

    void entries(const Scope& a, const Scope& b) {
        std::map<EntryKey, const Entry*> others;
        for (const Entry& entry : b.entries) others[keyOf(entry)] = &entry;
        const ScopeContext context(a);
        for (const Entry& entry : a.entries) {
            const auto other = others.find(keyOf(entry));
            if (other == others.end()) {
                report(a, groupOf(a, entry), recordName(entry), "record only in A", "");
                continue;
            }
            ++comparedRecords_;
            values(a, entry, *other->second, context);
            others.erase(other);
        }
        for (const auto& [key, entry] : others)
            report(a, groupOf(a, *entry), recordName(*entry), "record only in B", "");
    }

    static std::string groupOf(const Scope& scope, const Entry& entry) {
        if (!scope.group.empty()) return scope.group;
        const std::string_view group = scope.dataset > 0 ? groupOfDataSetRecord(entry.keyword) : "";
        return group.empty() ? "other records" : std::string(group);
    }

    void values(const Scope& scope, const Entry& a, const Entry& b, const ScopeContext& context) {
        const std::string group = groupOf(scope, a);
        const size_t n = valueCount(a.values);
        if (a.type != b.type || n != valueCount(b.values)) {
            report(scope, group, recordName(a), std::to_string(n) + " " + a.type + " values",
                   std::to_string(valueCount(b.values)) + " " + b.type + " values");
            return;
        }
        std::visit(
            [&](const auto& first) {
                using Body = std::decay_t<decltype(first)>;
                if constexpr (!std::is_same_v<Body, std::monostate>) {
                    const Body& second = std::get<Body>(b.values);
                    for (size_t k = 0; k < n; ++k)
                        if (!same(first.data()[k], second.data()[k]))
                            report(scope, group, placeOf(a, k, context), valueText(a.values, k),
                                   valueText(b.values, k));
                }
            },
            a.values);
    }

    template <class T>
    bool same(const T& a, const T& b) const {
        if constexpr (std::is_floating_point_v<T>) {
            if (std::memcmp(&a, &b, sizeof a) == 0 || a == b) return true;
            if (std::isnan(a) || std::isnan(b)) return false;
            const double difference = std::fabs(static_cast<double>(a) - static_cast<double>(b));
            const double larger = std::max(std::fabs(static_cast<double>(a)), std::fabs(static_cast<double>(b)));
            return difference <= options_.absTol || difference <= options_.relTol * larger;
        } else {
            return a == b;
        }
    }

    void report(const Scope& scope, const std::string& group, const std::string& place, const std::string& a,
                const std::string& b) {
        ++differences_;
        ++byGroup_[scope.dataset > 0 ? "dataset " + std::to_string(scope.dataset) + " " + group : group];
        out_ << scope.name << ": " << group << ": " << place << ": " << a << (b.empty() ? "" : " | " + b) << "\n";
    }

    const DiffOptions& options_;
    std::ostream& out_;
    int64_t differences_ = 0;
    int64_t comparedRecords_ = 0;
    std::map<std::string, int64_t> byGroup_;
};

}  // namespace

int runDiff(const DiffOptions& options, const Console& console) {
    const FileModel a = readModel(options.first, console);
    const FileModel b = readModel(options.second, console);
    if (options.dataset > std::max(a.dataSets, b.dataSets))
        throw CommandError("no dataset " + std::to_string(options.dataset) + " in " + inQuotes(options.first) + " (" +
                           std::to_string(a.dataSets) + " datasets) or " + inQuotes(options.second) + " (" +
                           std::to_string(b.dataSets) + ")");
    Comparison comparison(options, console.out);
    comparison.scopes(a, b);
    const std::string tolerances = "absolute tolerance " + numberText(options.absTol) + ", relative tolerance " +
                                   numberText(options.relTol);
    if (comparison.differences() == 0) {
        console.out << "equal: " << comparison.comparedRecords() << " records compared (" << tolerances << ")\n";
        return kExitOK;
    }
    console.out << comparison.differences() << (comparison.differences() == 1 ? " difference:" : " differences:");
    const char* separator = " ";
    for (const auto& [group, count] : comparison.byGroup()) {
        console.out << separator << group << " " << count;
        separator = ", ";
    }
    console.out << " (A " << inQuotes(options.first) << ", B " << inQuotes(options.second) << "; " << tolerances
                << ")\n";
    return kExitFindings;
}

}  // namespace tkstream_cli
