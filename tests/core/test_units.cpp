// Units and tracers: the tables users rely on for conversions and decay.
#include <gtest/gtest.h>

#include <sstream>

#include "Tracer.h"
#include "Unit.h"

TEST(Unit, KnownNamesTypesAndFactors) {
    struct Row {
        const char* name;
        const char* type;
        double factor;
    } rows[] = {
        {"s", "TIME", 1},           {"ms", "TIME", 0.001},         {"min", "TIME", 60},
        {"Hz", "FREQUENCY", 1},     {"1/min", "FREQUENCY", 1.0 / 60}, {"1/ms", "FREQUENCY", 1000},
        {"in", "LENGTH", 25.4},     {"dl", "VOLUME", 100},         {"kBq/ml", "ACTIVITY", 1000},
        {"Ci/ml", "ACTIVITY", 3.7e10}, {"nCi/ml", "ACTIVITY", 37}, {"kBq/ml/min", "ACTIVITYRATE", 1000.0 / 60},
        {"1", "UNKNOWN", 1},        {"", "UNKNOWN", 1},            {"bq/ml", "UNKNOWN", 1},
        {"Bq/ml/s", "UNKNOWN", 1},
    };
    for (const Row& row : rows) {
        Unit u(row.name);
        EXPECT_EQ(u.getName(), row.name);
        EXPECT_EQ(u.getTypeString(), row.type) << row.name;
        EXPECT_DOUBLE_EQ(u.getFactor(), row.factor) << row.name;
    }
}

TEST(Unit, NormUnitsAndReport) {
    const std::pair<const char*, const char*> norms[] = {
        {"kBq/ml", "Bq/ml"}, {"min", "s"}, {"cm", "mm"}, {"kBq/ml/min", "Bq/ml/s"}};
    for (const auto& n : norms) EXPECT_EQ(Unit(n.first).getNormUnit().getName(), n.second);
    // The reference of a rate is not in the table: a unit of unknown kind.
    EXPECT_EQ(Unit("kBq/ml/min").getNormUnit().getType(), Unit::UNKNOWN);
    std::ostringstream out;
    out << Unit("min");
    EXPECT_EQ(out.str(), "Unit min: type=TIME factor=60 \n");
}

TEST(Tracer, HalfLivesByName) {
    const std::pair<const char*, double> tau[] = {
        {"Water", 123}, {"O-15", 123}, {"C-11", 1224}, {"N-13", 594}, {"FMISO", 6588}, {"Gd-DPTA", 0}};
    for (const auto& t : tau) EXPECT_EQ(Tracer(t.first).getTau(), t.second) << t.first;
    EXPECT_EQ(Tracer("McN").getEMax(), 0.97);
    EXPECT_EQ(Tracer("Rb-82").getEMax(), 3.15);
}
