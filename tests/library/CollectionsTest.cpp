// The four collections by one suite, and what is particular to parameters and fields.

#include "support/CErrorHandler.h"
#include "support/LibraryTest.h"

namespace vtdl::tests {
namespace {

using Items = std::vector<IDispatch*>;

struct Kind {
    const wchar_t* name;
    const wchar_t* item;
};

class CollectionsTest : public LibraryTest {
protected:
    Ptr<IDispatch> Item(const Kind& kind) { return New(kind.item); }

    static long Count(IDispatch* collection) { return Get(collection, L"Count"); }

    static Items Walk(IDispatch* collection) {
        const Ptr<IEnumVARIANT> items(Get(collection, L"NewEnum").punkVal);
        Items found;
        _variant_t item;
        while (items->Next(1, &item, nullptr) == S_OK) {
            found.push_back(item.pdispVal);
            item.Clear();
        }
        return found;
    }
};

constexpr Kind kinds[] = {{L"CDataFields", L"CDataField"},
                          {L"CSessions", L"CSession"},
                          {L"CDataSources", L"CDataSource"},
                          {L"CParameters", L"CParameter"}};

TEST_F(CollectionsTest, KeepOrderAndFindByKeyWithoutCase) {
    for (const Kind& kind : kinds) {
        const bool isParameters = kind.name == std::wstring(L"CParameters");
        const auto collection = New(kind.name);
        const auto first = Item(kind), second = Item(kind), third = Item(kind);
        EXPECT_TRUE(Walk(collection).empty());
        Get(collection, L"Add", {first.GetInterfacePtr(), L"One"});
        Get(collection, L"Add", {second.GetInterfacePtr()});
        Get(collection, L"Add", {third.GetInterfacePtr(), L"\u00e4\u0416"});
        EXPECT_EQ(Count(collection), 3);
        EXPECT_EQ(Walk(collection), (Items{first, second, third})) << kind.name;
        EXPECT_TRUE(GetObject(collection, L"Item", {L"oNE"}) == first);
        EXPECT_TRUE(GetObject(collection, L"Item", {L"\u00c4\u0436"}) == third);
        _variant_t variable(L"one"), reference;
        reference.vt = VT_BYREF | VT_VARIANT;
        reference.pvarVal = &variable;
        EXPECT_TRUE(GetObject(collection, L"Item", {reference}) == first) << "a script's variable";
        if (!isParameters) {
            EXPECT_TRUE(GetObject(collection, L"Item", {2L}) == second);
        }
        Get(collection, L"Remove", {L"ONE"});
        EXPECT_EQ(Walk(collection), (Items{second, third}));
        EXPECT_TRUE(GetObject(collection, L"Item", {L"\u00e4\u0416"}) == third) << "after removing";
        Get(collection, L"Remove", {1L});
        Get(collection, L"Clear");
        EXPECT_EQ(Count(collection), 0);
        Get(collection, L"Add", {first.GetInterfacePtr(), L"One"});
        EXPECT_EQ(Count(collection), 1) << "its key is free again";
    }
}

// What fails inside a member goes to the error handler; the call succeeds and changes nothing.
TEST_F(CollectionsTest, FailuresGoToTheErrorHandler) {
    for (const Kind& kind : kinds) {
        const std::wstring name = kind.name, prefix = L" in vtdl." + name + L".";
        const auto collection = New(kind.name);
        const auto item = Item(kind);
        Get(collection, L"Add", {item.GetInterfacePtr(), L"key"});
        Get(collection, L"Add", {item.GetInterfacePtr(), L"KEY"});
        EXPECT_EQ(TakeErrors(),
                  L"457, (This key is already associated with an element of this collection: KEY)" +
                      prefix + L"Add\n");
        Get(collection, L"Remove", {L"no"});
        Get(collection, L"Remove", {2L});
        const std::wstring invalid =
            L"5, (Invalid procedure call or argument)" + prefix + L"Remove\n";
        EXPECT_EQ(TakeErrors(), invalid + invalid);
        EXPECT_EQ(Count(collection), 1);
        if (name == L"CParameters") continue;  // creates what is missing
        EXPECT_EQ(Get(collection, L"Item", {L"no"}).pdispVal, nullptr);
        EXPECT_EQ(Get(collection, L"Item", {0L}).pdispVal, nullptr);
        EXPECT_EQ(TakeErrors(), L"5, (Invalid procedure call or argument)" + prefix +
                                    L"Item\n9, (Subscript out of range)" + prefix + L"Item\n");
    }
}

TEST_F(CollectionsTest, ExistsNeverFailsAndEnumeratorsWalkASnapshot) {
    for (const Kind& kind : kinds) {
        const auto collection = New(kind.name);
        const bool hasExists = kind.name != std::wstring(L"CDataSources");
        if (hasExists) {
            EXPECT_FALSE(static_cast<bool>(Get(collection, L"Exists", {1L})));
        }
        const auto item = Item(kind);
        Get(collection, L"Add", {item.GetInterfacePtr(), L"A"});
        if (hasExists) {
            EXPECT_TRUE(static_cast<bool>(Get(collection, L"Exists", {L"a"})));
            EXPECT_TRUE(static_cast<bool>(Get(collection, L"Exists", {1L})));
            for (const _variant_t& index : {_variant_t(0L), _variant_t(2L), _variant_t(L"b")})
                EXPECT_FALSE(static_cast<bool>(Get(collection, L"Exists", {index})));
        }
        const Ptr<IEnumVARIANT> items(Get(collection, L"NewEnum").punkVal);
        Get(collection, L"Clear");
        _variant_t found;
        ASSERT_EQ(items->Next(1, &found, nullptr), S_OK);
        EXPECT_TRUE(found.pdispVal == item.GetInterfacePtr());
    }
}

TEST_F(CollectionsTest, ParametersAreCreatedByAskingForThem) {
    const auto parameters = New(L"CParameters");
    const auto created = GetObject(parameters, L"Item", {L"symbol"});
    EXPECT_EQ(TextOf(Get(created, L"Name")), L"symbol");
    EXPECT_TRUE(GetObject(parameters, L"Item", {L"SYMBOL"}) == created);
    EXPECT_EQ(Count(parameters), 1);
    EXPECT_EQ(TextOf(Get(GetObject(parameters, L"Item", {1L}), L"Name")), L"1") << "a name as well";
    EXPECT_EQ(Count(parameters), 2);
    EXPECT_FALSE(static_cast<bool>(Get(parameters, L"Exists", {3L})));
    EXPECT_EQ(Count(parameters), 2);
}

TEST_F(CollectionsTest, ParameterValuesAreSavedAndLoadedAsText) {
    const auto settings = New(L"CXMLSettings"), parameters = New(L"CParameters");
    Put(settings, L"XMLString", L"<sections name=\"XML settings file\"/>");
    Put(GetObject(parameters, L"Item", {L"Flag"}), L"Value", true);
    Put(GetObject(parameters, L"Item", {L"Count"}), L"Value", 7L);
    Get(parameters, L"SaveValues", {settings.GetInterfacePtr(), L"S"});
    EXPECT_EQ(TextOf(Get(settings, L"GetSetting", {L"s", L"flag"})), L"True");
    Put(GetObject(parameters, L"Item", {L"Flag"}), L"Value", false);
    Get(parameters, L"LoadValues", {settings.GetInterfacePtr(), L"S"});
    const _variant_t flag = Get(GetObject(parameters, L"Item", {L"Flag"}), L"Value");
    EXPECT_EQ(flag.vt, VT_BSTR);
    EXPECT_EQ(TextOf(flag), L"True");
    Get(parameters, L"LoadValues", {settings.GetInterfacePtr(), L"no such section"});
    EXPECT_EQ(TextOf(Get(GetObject(parameters, L"Item", {L"Count"}), L"Value")), L"7");

    SAFEARRAY* array = SafeArrayCreateVector(VT_I4, 0, 1);
    _variant_t list;
    list.vt = VT_ARRAY | VT_I4;
    list.parray = array;
    Put(GetObject(parameters, L"Item", {L"Count"}), L"Value", list);
    Get(parameters, L"SaveValues", {settings.GetInterfacePtr(), L"S"});
    EXPECT_EQ(TakeErrors(), L"13, (Type mismatch) in vtdl.CParameter.SaveValue\n");
}

TEST_F(CollectionsTest, AFieldsDataIsACopy) {
    const auto field = New<::CDataField, _CDataField>();
    _variant_t data, copy, again;
    data.vt = VT_ARRAY | VT_R8;
    data.parray = SafeArrayCreateVector(VT_R8, 1, 2);
    double value = 5;
    LONG index = 1;
    SafeArrayPutElement(data.parray, &index, &value);
    field->put_Data(&data);
    field->get_Data(&copy);
    value = 6;
    SafeArrayPutElement(copy.parray, &index, &value);
    field->get_Data(&again);
    SafeArrayGetElement(again.parray, &index, &value);
    EXPECT_EQ(value, 5);
    EXPECT_EQ(static_cast<double>(Get(field, L"Data", {1L})), 5) << "one entry, for scripts";
    EXPECT_EQ(Invoke(field, L"Data", DISPATCH_PROPERTYGET, {3L}).hr,
              static_cast<HRESULT>(0x800A0009));
}

}  // namespace
}  // namespace vtdl::tests
