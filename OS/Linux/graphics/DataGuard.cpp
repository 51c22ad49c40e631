#include "DataGuard.h"

namespace
{
    const cairo_user_data_key_t guardKey {};
}

bool DataGuard::attach(cairo_surface_t* surface, Kv::Ptr<iObject> keeper)
{
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS)
        return false;
    DataGuard* guard = new DataGuard(keeper);
    if (cairo_surface_set_user_data(surface, &guardKey, guard, releaseDataGuard) != CAIRO_STATUS_SUCCESS) {
        delete guard;
        return false;
    }
    return true;
}

Kv::Ptr<iObject> DataGuard::keeperOf(cairo_surface_t* surface)
{
    auto* guard = static_cast<DataGuard*>(cairo_surface_get_user_data(surface, &guardKey));
    return guard ? guard->keeper_ : Kv::Ptr<iObject>();
}

void DataGuard::releaseDataGuard(void* guard)
{
    delete static_cast<DataGuard*>(guard);
}
