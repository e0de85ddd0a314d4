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
    // A rate of 60 Bq/ml/min is 1 Bq/ml/s.
    EXPECT_DOUBLE_EQ(60 * Unit("Bq/ml/min").getFactor(), 1.0);
}

TEST(Unit, NormUnitsAndReport) {
    EXPECT_EQ(Unit("kBq/ml").getNormUnit().getName(), "Bq/ml");
    EXPECT_EQ(Unit("min").getNormUnit().getName(), "s");
    EXPECT_EQ(Unit("cm").getNormUnit().getName(), "mm");
    // The reference of a rate is not in the table: a unit of unknown kind.
    Unit rate = Unit("kBq/ml/min").getNormUnit();
    EXPECT_EQ(rate.getName(), "Bq/ml/s");
    EXPECT_EQ(rate.getType(), Unit::UNKNOWN);

    std::ostringstream out;
    out << Unit("min");
    EXPECT_EQ(out.str(), "Unit min: type=TIME factor=60 \n");
}

TEST(Tracer, HalfLivesByName) {
    EXPECT_EQ(Tracer("Water").getTau(), 123);
    EXPECT_EQ(Tracer("O-15").getTau(), 123);
    EXPECT_EQ(Tracer("C-11").getTau(), 1224);
    EXPECT_EQ(Tracer("McN").getEMax(), 0.97);
    EXPECT_EQ(Tracer("N-13").getTau(), 594);
    EXPECT_EQ(Tracer("FMISO").getTau(), 6588);
    EXPECT_EQ(Tracer("Rb-82").getEMax(), 3.15);
    EXPECT_EQ(Tracer("Gd-DPTA").getTau(), 0);
    EXPECT_EQ(Tracer("Gd-DPTA").getName(), "Gd-DPTA");
}
