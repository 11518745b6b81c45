#pragma once
// A callable without its type, so that what runs it is compiled once.

#include <type_traits>
#include <utility>

namespace vtdl::automation {

template <class Signature>
class FunctionRef;

/// Refers to the callable, which has to outlive it.
template <class Result, class... Arguments>
class FunctionRef<Result(Arguments...)> {
public:
    template <class Callable>
    requires(!std::is_same_v<std::remove_cvref_t<Callable>, FunctionRef>)
        FunctionRef(Callable&& callable)
    noexcept
        : m_callable(&callable), m_call([](const void* object, Arguments... arguments) -> Result {
              using Type = std::remove_reference_t<Callable>;
              return (*static_cast<Type*>(const_cast<void*>(object)))(
                  std::forward<Arguments>(arguments)...);
          }) {}

    Result operator()(Arguments... arguments) const {
        return m_call(m_callable, std::forward<Arguments>(arguments)...);
    }

private:
    const void* m_callable;
    Result (*m_call)(const void*, Arguments...);
};

}  // namespace vtdl::automation
