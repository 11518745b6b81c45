// The four collections by one suite.

#include "errors/CErrorHandler.h"
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

}  // namespace
}  // namespace vtdl::tests
