// The four collections by one suite.

#include "support/LibraryTest.h"

namespace vtdl::tests {
namespace {

using Items = std::vector<IDispatch*>;

Ptr<IEnumVARIANT> EnumeratorOf(IDispatch* collection) {
    return Ptr<IEnumVARIANT>(Get(collection, L"NewEnum").punkVal);
}

Items Walk(IEnumVARIANT* enumerator) {
    Items found;
    for (_variant_t item; enumerator->Next(1, &item, nullptr) == S_OK; item.Clear())
        found.push_back(item.pdispVal);
    return found;
}

class CollectionsTest : public LibraryTest {
protected:
    /// Runs once for each collection, with its name and three items.
    template <class Test>
    void ForEach(Test&& test) {
        for (const std::wstring item :
             {L"CDataField", L"CSession", L"CDataSource", L"CParameter"}) {
            const auto collection = New(item + L"s");
            const auto first = New(item), second = New(item), third = New(item);
            SCOPED_TRACE(item);
            test(item + L"s", collection.GetInterfacePtr(), Items{first, second, third});
        }
    }
};

TEST_F(CollectionsTest, KeepOrderAndFindByKeyWithoutCase) {
    ForEach([](const std::wstring& name, IDispatch* collection, const Items& items) {
        const auto find = [&](const _variant_t& key) {
            return GetObject(collection, L"Item", {key}).GetInterfacePtr();
        };
        _variant_t variable(L"one");
        Get(collection, L"Add", {items[0], L"One"});
        Get(collection, L"Add", {items[1]});
        Get(collection, L"Add", {items[2], L"\u00e4\u0416"});
        EXPECT_EQ(Walk(EnumeratorOf(collection)), items);
        EXPECT_EQ(find(L"oNE"), items[0]);
        EXPECT_EQ(find(L"\u00c4\u0436"), items[2]);
        EXPECT_EQ(find(ReferenceTo(&variable)), items[0]);
        EXPECT_TRUE(name == L"CParameters" || find(2L) == items[1]) << "there, numbers are names";
        const std::pair<_variant_t, bool> keys[] = {
            {L"ONE", true}, {3L, true}, {0L, false}, {4L, false}};
        for (const auto& [key, exists] : keys) {
            if (name == L"CDataSources") break;
            EXPECT_EQ(Get(collection, L"Exists", {key}), _variant_t(exists));
        }
        Get(collection, L"Remove", {L"ONE"});
        const auto snapshot = EnumeratorOf(collection);
        EXPECT_EQ(find(L"\u00e4\u0416"), items[2]) << "after removing";
        Get(collection, L"Clear");
        EXPECT_EQ(Walk(snapshot), (Items{items[1], items[2]}));
        EXPECT_EQ(Get(collection, L"Count"), _variant_t(0L));
    });
}

// What fails inside a member goes to the error handler; the call succeeds and changes nothing.
TEST_F(CollectionsTest, FailuresGoToTheErrorHandler) {
    ForEach([](const std::wstring& name, IDispatch* collection, const Items& items) {
        const std::wstring invalid = L"5, (Invalid procedure call or argument) in vtdl." + name;
        Get(collection, L"Add", {items[0], L"key"});
        Get(collection, L"Add", {items[0], L"KEY"});
        EXPECT_EQ(TakeErrors(),
                  L"457, (This key is already associated with an element of this "
                  L"collection: KEY) in vtdl." +
                      name + L".Add\n");
        Get(collection, L"Remove", {2L});
        EXPECT_EQ(TakeErrors(), invalid + L".Remove\n");
        EXPECT_EQ(Get(collection, L"Count"), _variant_t(1L));
        if (name == L"CParameters") return;  // creates what is missing
        EXPECT_EQ(Get(collection, L"Item", {L"no"}).pdispVal, nullptr);
        EXPECT_EQ(TakeErrors(), invalid + L".Item\n");
    });
}

}  // namespace
}  // namespace vtdl::tests
