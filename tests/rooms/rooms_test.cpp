// Rooms with their positions, measurements and corrections: the tree, what is new, what a put tells.
#include "kit/listener.hpp"

#include <functional>
#include <limits>

namespace lumvex::tests {
namespace {

class Rooms : public ::testing::Test {
protected:
    Project project = Project::Create();
    RoomEQs rooms = project.Rooms();
    RoomEQ room = rooms.Add(u"Studio");
    RoomCorrectionGroups groups = room.CorrectionGroups();
    RoomCorrectionGroup group = groups.Add(u"Best");
    RoomCorrections corrections = group.Corrections();
    RoomCorrection correction = corrections.Add(u"Flat");
    RoomPositions positions = room.Positions();
    RoomPosition position = positions.Add(u"Sofa");
    RoomMeasurements measurements = position.Measurements();
    RoomMeasurement measurement = measurements.Add(u"Sweep");
};

TEST_F(Rooms, TheTreeByBothBindings) {
    const struct {
        Object object;
        std::u16string name;
        Object parent;
        bool exchanged;  // Parent answers to 0x29 and Root to 0x28
    } cases[] = {
        {rooms, u"ROOM MEASUREMENTS", project, false},      {room, u"Studio", rooms, false},
        {groups, u"Room Correction Groups", room, true},    {group, u"Best", groups, true},
        {corrections, u"CORRECTIONS", group, false},        {correction, u"Flat", corrections, false},
        {positions, u"MEASUREMENT POSITIONS", room, false}, {position, u"Sofa", positions, true},
        {measurements, u"MEASUREMENTS", position, false},   {measurement, u"Sweep", measurements, false},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(ToUtf8(each.name));
        IDispatch* object = each.object.Pointer();
        EXPECT_EQ(TextOf(LateGet(object, LX_DISPNAME).bstrVal), each.name);
        EXPECT_TRUE(IsSameObject(LateGet(object, each.exchanged ? 0x29 : 0x28), each.parent));
        EXPECT_TRUE(IsSameObject(LateGet(object, each.exchanged ? 0x28 : 0x29), project));
    }
    EXPECT_TRUE(project.IsSame(group.Root()));
    EXPECT_TRUE(groups.IsSame(group.Parent()));
    EXPECT_TRUE(IsSameObject(LateGet(room.Pointer(), 0x49), groups));
    EXPECT_TRUE(IsSameObject(LateGet(room.Pointer(), 0x47), positions));
    EXPECT_TRUE(IsSameObject(LateGet(group.Pointer(), 0x48), corrections));
    EXPECT_TRUE(IsSameObject(LateGet(position.Pointer(), 0x01), measurements));
    EXPECT_TRUE(IsSameObject(LateGet(project.Pointer(), 0x06), rooms));
    EXPECT_EQ(measurement.FQName(), u"PROJECT/ROOM MEASUREMENTS/Studio/MEASUREMENT POSITIONS/Sofa/MEASUREMENTS/Sweep");
    EXPECT_EQ(rooms.Add(u"Studio").Name(), u"Studio") << "names may repeat";
}

TEST_F(Rooms, NewOnes) {
    EXPECT_EQ(room.MeasureStart(), 0.0f);
    EXPECT_EQ(room.MeasureEnd(), 0.0f);
    EXPECT_EQ(room.MeasSmooth(), 0.0f);
    EXPECT_EQ(room.MeasSmoothMethod(), LX_MSMTH_CHEBY);
    EXPECT_EQ(room.EqualiserData().vt, VT_EMPTY);
    EXPECT_EQ(correction.Data().vt, VT_EMPTY);
    EXPECT_EQ(position.Scale(), 1.0f);
    EXPECT_EQ(measurement.Data().vt, VT_EMPTY);
    EXPECT_EQ(measurement.ConfigData().vt, VT_EMPTY);
    EXPECT_EQ(measurement.Channel(), 0);
    EXPECT_EQ(measurement.SampleRate(), 48000);
    EXPECT_EQ(measurement.IOConfig(), LX_IOCFG_UNKNOWN);
    EXPECT_EQ(rooms.Add(u"Empty").Positions().Count(), 0);
    EXPECT_EQ(room.DataSupport(), 0);
}

// Every property: its DISPID, a value, what the put tells; then the same on an object whose owners are gone.
TEST_F(Rooms, Puts) {
    const Variant table = ArrayOf<float>(VT_R4, {{2, 0}, {3, 0}}, {1, 2, 3, 4, 5, 6});
    const auto real = [](float value) {
        Variant made;
        made.vt = VT_R4;
        made.fltVal = value;
        return made;
    };
    const struct {
        Collectable object;
        DISPID id;
        Variant value;
    } cases[] = {
        {room, 0x4b, real(-1.5f)},
        {room, 0x4c, real(20e3f)},
        {room, 0x4d, real(0.25f)},
        {room, 0x4e, Variant::FromLong(77)},  // no put looks at its value
        {room, 0x01, table},
        {correction, 0x27, table},
        {position, 0x4f, real(0.0f)},
        {measurement, 0x27, table},
        {measurement, 0x03, table},
        {measurement, 0x04, Variant::FromLong(-32768)},
        {measurement, 0x4a, Variant::FromLong(-1)},
        {measurement, 0x60, Variant::FromLong(63)},
    };
    Listener listener(project);
    for (const auto& each : cases) {
        SCOPED_TRACE(ToUtf8(each.object.Name()) + " " + std::to_string(each.id));
        const bool isArray = (each.value.vt & VT_ARRAY) != 0;
        const Strings expected{"item " + ToUtf8(each.object.Name()) + (isArray ? " 3" : " 0")};
        for (int round = 0; round < 2; ++round) {  // the same value again is a change too
            EXPECT_EQ(LatePut(each.object.Pointer(), each.id, {each.value}), S_OK);
            EXPECT_EQ(listener.Taken(), expected);
        }
        const Variant found = LateGet(each.object.Pointer(), each.id);
        if (isArray)
            EXPECT_EQ(ContentOf(found), ContentOf(each.value));
        else
            EXPECT_EQ(NumberOf(found.vt == VT_I2 ? Variant::FromLong(found.iVal) : found), NumberOf(each.value));
    }

    rooms.RemoveAll();
    listener.Taken();
    for (const auto& each : cases) {
        SCOPED_TRACE(ToUtf8(each.object.Name()) + " " + std::to_string(each.id));
        const bool isArray = (each.value.vt & VT_ARRAY) != 0;
        EXPECT_EQ(LatePut(each.object.Pointer(), each.id, {isArray ? Variant() : Variant::FromLong(5)}), kOrphaned);
        Variant found;
        const HRESULT status = Late(each.object.Pointer(), each.id, DISPATCH_PROPERTYGET, {}, found);
        EXPECT_EQ(status, isArray ? kOrphaned : S_OK);
        if (isArray) continue;
        EXPECT_EQ(NumberOf(found.vt == VT_I2 ? Variant::FromLong(found.iVal) : found), 5);
    }
    EXPECT_EQ(listener.Taken(), Strings{});
    EXPECT_EQ(StatusOf([&] { room.Positions(); }), kOrphaned);
}

TEST_F(Rooms, ThePositionAnswersTheFirstMeasurementsRate) {
    measurement.SampleRate(96000);
    measurements.Add(u"Second").SampleRate(44100);
    EXPECT_EQ(position.SampleRate(), 96000.0f);
    position.SampleRate(8000.0f);
    EXPECT_EQ(position.SampleRate(), 96000.0f) << "its own is never asked";
    measurements.Remove(1);
    EXPECT_EQ(position.SampleRate(), 44100.0f);
    measurements.RemoveAll();
    float untouched = 7.5f;
    EXPECT_EQ(position.Get()->get_SampleRate(&untouched), S_FALSE);
    EXPECT_EQ(untouched, 7.5f);
    EXPECT_TRUE(FailsBare(E_INVALIDARG, position.Get()->get_SampleRate(nullptr)));
    EXPECT_TRUE(FailsBare(E_POINTER, position.Get()->get_Scale(nullptr)));
    Listener listener(project);
    position.SampleRate(44100.9f);
    EXPECT_EQ(listener.Taken(), Strings{"item Sofa 0"});
}

TEST_F(Rooms, ACopyHasEverythingBelow) {
    measurement.Data(Floats({1, 2, 3}));
    measurement.Channel(4);
    position.Scale(0.5f);
    correction.Data(Floats({4, 5}));
    room.MeasSmoothMethod(LX_MSMTH_SINC);
    Project other = Project::Create();
    for (const RoomEQs& destination : {rooms, other.Rooms()}) {
        const RoomEQ copy = room.Copy(destination).As<RoomEQ>();
        EXPECT_NE(copy.ID(), room.ID());
        EXPECT_EQ(copy.MeasSmoothMethod(), LX_MSMTH_SINC);
        EXPECT_EQ(ContentOf(copy.CorrectionGroups().Item(1).Corrections().Item(1).Data()), FloatContent({4, 5}));
        const RoomPosition position2 = copy.Positions().Item(1);
        EXPECT_EQ(position2.Scale(), 0.5f);
        EXPECT_EQ(position2.Measurements().Item(1).Channel(), 4);
        EXPECT_EQ(ContentOf(position2.Measurements().Item(1).Data()), FloatContent({1, 2, 3}));
    }
    const RoomPosition below = position.CopyWithParents(other).As<RoomPosition>();
    EXPECT_EQ(below.FQName(), position.FQName());
    EXPECT_EQ(other.Rooms().Count(), 1) << "the room was found there by its name";
}

}  // namespace
}  // namespace lumvex::tests
