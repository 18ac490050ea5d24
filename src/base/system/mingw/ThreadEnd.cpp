#include <base/system/ThreadEnd.h>

#include <pthread.h>

#include <new>

// Built with mingw, a thread frees the memory of its thread_local objects before it runs their
// destructors (libgcc's emutls.c), which then damage the heap. The values of a key stay.

namespace sync::base {

namespace {

struct Ending
{
    Ending* earlier;
    void (*function)(void*);
    void* object;
};

void runEndings(void* last);

class Key
{
public:
    Key()
    {
        if (pthread_key_create(&key, runEndings) != 0)
            throw std::bad_alloc();
    }
    // The code of a library may be unloaded before the threads end.
    ~Key() { pthread_key_delete(key); }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    Ending* last() const { return static_cast<Ending*>(pthread_getspecific(key)); }
    void setLast(Ending* ending) const { pthread_setspecific(key, ending); }

private:
    pthread_key_t key{};
};

const Key& endings()
{
    static const Key key;
    return key;
}

void runEndings(void* last)
{
    // The system has taken it from the key. Each ending may ask for another one.
    endings().setLast(static_cast<Ending*>(last));
    while (Ending* const ending = endings().last()) {
        endings().setLast(ending->earlier);
        ending->function(ending->object);
        delete ending;
    }
}

} // namespace

void atThreadEnd(void (*function)(void* object), void* object)
{
    endings().setLast(new Ending{endings().last(), function, object});
}

} // namespace sync::base
