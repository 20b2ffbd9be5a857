// Measurement microphones.
#include "kit/library.hpp"

namespace lumvex::tests {
namespace {

class MicrophoneItem : public ::testing::Test {
protected:
    Specifications library = Specifications::Create();
    Microphone microphone = library.Microphones().Add(u"70-1234");
};

TEST_F(MicrophoneItem, ANewOne) {
    EXPECT_EQ(microphone.Name(), u"70-1234");
    EXPECT_EQ(microphone.CalibrationMethod(), LX_CAL_FORWARD);
    EXPECT_EQ(microphone.Delay(), 0);
    EXPECT_EQ(microphone.Scale(), 1.0f);
    EXPECT_EQ(microphone.SampleRate(), 48000);
    EXPECT_EQ(microphone.Data().vt, VT_EMPTY);
    EXPECT_LE(LocalTimeNow() - microphone.Timestamp(), 1.0 / 24);
    EXPECT_EQ(microphone.DataSupport(), 0);
    EXPECT_NE(library.Microphones().Add(u"70-1234").Pointer(), microphone.Pointer()) << "serial numbers may repeat";
}

TEST_F(MicrophoneItem, ScalarsTakeAnyValue) {
    for (const int method : {7, 0, -1}) {
        microphone.CalibrationMethod(static_cast<LXCalMethod>(method));
        EXPECT_EQ(static_cast<int>(microphone.CalibrationMethod()), method);
    }
    microphone.Delay(-3);
    microphone.Scale(-0.25f);
    microphone.SampleRate(0);
    EXPECT_EQ(microphone.Delay(), -3);
    EXPECT_EQ(microphone.Scale(), -0.25f);
    EXPECT_EQ(microphone.SampleRate(), 0);
}

TEST_F(MicrophoneItem, DataIsOneChannelInTheDocumentsType) {
    microphone.Data(ArrayOf<double>(VT_R8, {{3, 0}}, {0.5, 1, 2}));
    EXPECT_EQ(ContentOf(microphone.Data()), FloatContent({0.5, 1, 2}));
    EXPECT_TRUE(FailsWith(4002, microphone.Get()->put_Data(ArrayOf<float>(VT_R4, {{2, 0}, {2, 0}}, {1, 2, 3, 4}))));
    EXPECT_TRUE(FailsWith(4004, microphone.Get()->put_Data(Variant::FromLong(1))));
    EXPECT_EQ(ContentOf(microphone.Data()), FloatContent({0.5, 1, 2})) << "a refused put changes nothing";
    library.SafeArrayType(LX_R8);
    EXPECT_EQ(ContentOf(microphone.Data()).type, VT_R8);
    microphone.Data(ArrayOf<float>(VT_R4, {{2, 0}, {1, 0}}, {4, 5}));
    EXPECT_EQ(ContentOf(microphone.Data()).values, (std::vector<double>{4, 5})) << "one column of two dimensions";
    microphone.Data(Variant());
    EXPECT_EQ(microphone.Data().vt, VT_EMPTY);
}

TEST_F(MicrophoneItem, PutsTellTheirKindOfChange) {
    std::vector<std::string> told;
    const Subscription subscription(library, [&](const Change& change) { told.push_back(Told(change)); });
    microphone.Data(Floats({1, 2}));
    EXPECT_EQ(std::exchange(told, {}), Strings{"item 70-1234 3"});
    microphone.CalibrationMethod(LX_CAL_INVERSE);
    microphone.Delay(1);
    microphone.Scale(2);
    microphone.SampleRate(44100);
    EXPECT_EQ(std::exchange(told, {}), Strings(4, "item 70-1234 0"));
    library.Microphones().Add(u"B");
    EXPECT_EQ(told, (Strings{"item B 1", "collection MICROPHONES 1"}));
}

TEST_F(MicrophoneItem, AnOrphansScalarsKeepWhatAFailingPutGave) {
    microphone.Data(Floats({1, 2}));
    library.Microphones().Remove(1);
    IMicrophone* const orphan = microphone.Get();
    EXPECT_TRUE(FailsWith(4009, orphan->put_CalibrationMethod(LX_CAL_INVERSE)));
    EXPECT_TRUE(FailsWith(4009, orphan->put_Delay(5)));
    EXPECT_TRUE(FailsWith(4009, orphan->put_Scale(0.5f)));
    EXPECT_TRUE(FailsWith(4009, orphan->put_SampleRate(96000)));
    EXPECT_EQ(microphone.CalibrationMethod(), LX_CAL_INVERSE);
    EXPECT_EQ(microphone.Delay(), 5);
    EXPECT_EQ(microphone.Scale(), 0.5f);
    EXPECT_EQ(microphone.SampleRate(), 96000);
    Variant data;
    EXPECT_TRUE(FailsWith(4009, orphan->put_Data(ArrayOf<float>(VT_R4, {{2, 0}, {2, 0}}, {1, 2, 3, 4}))))
        << "the owners are looked for before the array";
    EXPECT_TRUE(FailsWith(4009, orphan->get_Data(data.Out())));
    EXPECT_TRUE(FailsWith(4009, orphan->put_Name(Bstr(u"X").get())));
    EXPECT_EQ(microphone.Name(), u"70-1234");
}

TEST_F(MicrophoneItem, LateBound) {
    IDispatch* const late = microphone.Pointer();
    EXPECT_EQ(Late(late, u"Scale", DISPATCH_PROPERTYPUT, {Variant::FromText(u"0.25")}).status, S_OK);
    EXPECT_EQ(microphone.Scale(), 0.25f);
    EXPECT_EQ(Late(late, u"Scale", DISPATCH_PROPERTYGET).result.vt, VT_R4);
    EXPECT_EQ(Late(late, u"CalibrationMethod", DISPATCH_PROPERTYPUT, {Variant::FromLong(7)}).status, S_OK);
    EXPECT_EQ(Late(late, u"CalibrationMethod", DISPATCH_PROPERTYGET).result.lVal, 7);
    EXPECT_EQ(Late(late, u"Data", DISPATCH_PROPERTYPUT, {Floats({1, 2})}).status, S_OK);
    EXPECT_EQ(ContentOf(Late(late, u"Data", DISPATCH_PROPERTYGET).result), FloatContent({1, 2}));
    EXPECT_EQ(Late(late, u"Data", DISPATCH_PROPERTYPUT, {ArrayOf<float>(VT_R4, {{1, 0}, {2, 0}}, {1, 2})}).code,
              Status(0x80040FA2));
    EXPECT_EQ(Late(late, u"Parent", DISPATCH_PROPERTYGET).result.pdispVal, library.Microphones().Pointer());
}

}  // namespace
}  // namespace lumvex::tests
