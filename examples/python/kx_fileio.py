"""Documents of the outliner in Python: the flat interface of KX_FileIO through ctypes.

Part one loads the library, says what each function takes and gives, and turns its errors into
exceptions. Part two puts two classes on top of that. Copy what you need.
"""

import ctypes
import os
import pathlib
from ctypes import POINTER, byref, c_int, c_long, c_size_t, c_uint, c_ulong, c_void_p, c_wchar_p

# --- The library ---

HERE = pathlib.Path(__file__).resolve().parent
BUILT = HERE.parents[1] / "build" / "release" / "lib" / "libKX_FileIO.so"

Handle = c_void_p


class Iterator(ctypes.Structure):
    """RV_ITER"""

    _fields_ = [("slot", c_size_t), ("db", Handle)]


# What every function used here takes and gives, as in RV_FileIO.h. A function that fills a text
# buffer takes it as c_wchar_p.
PROTOTYPES = {
    "KX_SetUnfiledCategoryName": (None, [c_wchar_p]),
    "KX_UpdateCategory": (None, [c_wchar_p, c_wchar_p, c_wchar_p, c_wchar_p]),
    "RV_CreateOutlineDB": (Handle, []),
    "RV_DeleteOutlineDB": (None, [Handle]),
    "RV_Open": (c_int, [Handle, c_wchar_p, c_uint]),
    "RV_Close": (None, [Handle]),
    "RV_InitNewDataBase": (None, [Handle]),
    "RV_ReadRows": (None, [Handle]),
    "RV_WriteRows": (None, [Handle]),
    "RV_WriteAllHeaders": (None, [Handle]),
    "RV_ReadSharedHeader": (c_int, [Handle]),
    "RV_ReadPrivateHeader": (c_int, [Handle]),
    "RV_GetSize": (c_int, [Handle]),
    "RV_GetRecord": (Handle, [Handle, c_ulong]),
    "RV_AppendRecordSet": (Handle, [Handle]),
    "RV_Delete": (None, [Handle, Handle]),
    "RV_AddDeletedId": (None, [Handle, c_ulong]),
    "RV_IsDeletedId": (c_int, [Handle, c_ulong]),
    "RV_GetCategoryName": (c_ulong, [Handle, c_wchar_p]),
    "RV_SetCategoryName": (None, [Handle, c_wchar_p]),
    "RV_GetOutlineTitle": (c_ulong, [Handle, c_wchar_p]),
    "RV_SetOutlineTitle": (None, [Handle, c_wchar_p]),
    "RV_SetId": (None, [Handle, c_ulong]),
    "RV_GetId": (c_ulong, [Handle]),
    "RV_SetIndent": (None, [Handle, c_uint]),
    "RV_GetIndent": (c_uint, [Handle]),
    "RV_SetChecked": (None, [Handle, c_int]),
    "RV_GetChecked": (c_int, [Handle]),
    "RV_SetText": (None, [Handle, c_wchar_p]),
    "RV_GetText": (c_ulong, [Handle, c_wchar_p]),
    "RV_SetNote": (None, [Handle, c_wchar_p]),
    "RV_GetNote": (c_ulong, [Handle, c_wchar_p]),
    "RV_SetNew": (None, [Handle, c_int]),
    "RV_HasDrawing": (c_int, [Handle]),
    "RV_DeleteBitmap": (None, [Handle]),
    "RV_SetDrawing": (None, [Handle, Handle]),
    "RV_GetDrawing": (Handle, [Handle]),
    "RV_GetDrawingSize": (None, [Handle, POINTER(c_long), POINTER(c_long)]),
    "RV_CreateCategoryDB": (Handle, []),
    "RV_DeleteCategoryDB": (None, [Handle]),
    "RV_OpenCategoryFile": (c_int, [Handle, c_wchar_p, c_uint]),
    "RV_CategoryClose": (None, [Handle]),
    "RV_CategoryInitNewDataBase": (None, [Handle]),
    "RV_CategoryReadRows": (None, [Handle]),
    "RV_CategoryWriteRows": (None, [Handle]),
    "RV_WriteAllCategoryHeaders": (None, [Handle]),
    "RV_GetCategoryRecordSize": (c_int, [Handle]),
    "RV_GetIterator": (Iterator, [Handle]),
    "RV_GetIterCategoryName": (c_ulong, [Handle, c_wchar_p, c_ulong]),
    "RV_AddNewCategorybyName": (Handle, [Handle, c_wchar_p]),
    "RV_RenameCategory": (None, [Handle, c_wchar_p, c_wchar_p]),
}

# Functions that throw nothing and leave the last error alone.
PLAIN_PROTOTYPES = {
    "KX_FlatGuard": (c_int, [c_int]),
    "KX_FlatLastError": (c_ulong, [c_wchar_p, c_ulong, POINTER(c_ulong)]),
    "MemAlloc": (Handle, [c_ulong]),
    "MemGetPtr": (c_void_p, [Handle]),
    "MemReleasePtr": (None, [Handle]),
    "MemFree": (None, [Handle]),
    "MemGetSize": (c_ulong, [Handle]),
}


class KxError(Exception):
    """What the library would have thrown."""

    def __init__(self, text, number):
        super().__init__(text)
        self.number = number


def raise_error(result, function, arguments):
    """Called behind every call: gives its result, or raises what it ended with."""
    number = c_ulong()
    length = kx.KX_FlatLastError(None, 0, byref(number))
    if length == 0 and number.value == 0:
        return result
    text = ctypes.create_unicode_buffer(length + 1)
    kx.KX_FlatLastError(text, length + 1, None)
    raise KxError(text.value, number.value)


def load(path):
    """The library with its prototypes and its guard on."""
    library = ctypes.CDLL(str(path))
    for name, (result, arguments) in (PROTOTYPES | PLAIN_PROTOTYPES).items():
        function = getattr(library, name)
        function.restype = result
        function.argtypes = arguments
    for name in PROTOTYPES:
        getattr(library, name).errcheck = raise_error
    library.KX_FlatGuard(1)
    return library


kx = load(os.environ.get("KX_FILEIO", BUILT))


def text_of(function, *arguments):
    """The text that a function puts into a buffer: ask for its length, make room, ask again."""
    length = function(*arguments)
    text = ctypes.create_unicode_buffer(length + 1)
    function(*[text if argument is None else argument for argument in arguments])
    return text.value


# --- Documents ---

READ, READ_WRITE, CREATE = 0x0000, 0x0002, 0x1000 | 0x0002


class Item:
    """One item of a document. It belongs to the document and must not outlive it."""

    def __init__(self, handle):
        self.handle = handle

    id = property(lambda self: kx.RV_GetId(self.handle))
    level = property(lambda self: kx.RV_GetIndent(self.handle))
    checked = property(lambda self: kx.RV_GetChecked(self.handle) == 1)
    text = property(lambda self: text_of(kx.RV_GetText, self.handle, None))
    note = property(
        lambda self: text_of(kx.RV_GetNote, self.handle, None),
        lambda self, note: kx.RV_SetNote(self.handle, note),
    )

    def check(self, on=True):
        kx.RV_SetChecked(self.handle, on)

    @property
    def drawing_size(self):
        width, height = c_long(), c_long()
        kx.RV_GetDrawingSize(self.handle, byref(width), byref(height))
        return width.value, height.value

    @property
    def drawing(self):
        """The bytes of the drawing's bitmap, or None."""
        if not kx.RV_HasDrawing(self.handle):
            return None
        bitmap = kx.RV_GetDrawing(self.handle)  # now ours to free
        if bitmap is None:
            return None
        try:
            return ctypes.string_at(kx.MemGetPtr(bitmap), kx.MemGetSize(bitmap))
        finally:
            kx.MemFree(bitmap)

    @drawing.setter
    def drawing(self, dib):
        kx.RV_DeleteBitmap(self.handle)
        bitmap = kx.MemAlloc(len(dib))
        if bitmap is None:
            raise MemoryError
        ctypes.memmove(kx.MemGetPtr(bitmap), dib, len(dib))
        kx.RV_SetDrawing(self.handle, bitmap)
        if not kx.RV_HasDrawing(self.handle):  # not stored: still ours
            kx.MemFree(bitmap)
            raise ValueError("no bitmap that a drawing can hold")


class Document:
    """A document, open from its construction to the end of its `with` block."""

    def __init__(self, path, mode=READ):
        self.db = kx.RV_CreateOutlineDB()
        try:
            # Outlines catch what opening throws, and tell the reason in FileIO.txt alone.
            if kx.RV_Open(self.db, str(path), mode) == 0:
                raise KxError(f"{path} cannot be opened", 0)
            if mode == CREATE:
                kx.RV_InitNewDataBase(self.db)
            else:
                kx.RV_ReadSharedHeader(self.db)
                kx.RV_ReadPrivateHeader(self.db)
        except KxError:
            kx.RV_DeleteOutlineDB(self.db)
            raise

    def __enter__(self):
        return self

    def __exit__(self, *exception):
        kx.RV_DeleteOutlineDB(self.db)  # closes the file, too

    def read(self):
        """Reads the items. Those ahead of a damaged one are there afterwards."""
        kx.RV_ReadRows(self.db)

    def save(self):
        kx.RV_WriteAllHeaders(self.db)
        kx.RV_WriteRows(self.db)

    category = property(
        lambda self: text_of(kx.RV_GetCategoryName, self.db, None),
        lambda self, name: kx.RV_SetCategoryName(self.db, name),
    )
    title = property(
        lambda self: text_of(kx.RV_GetOutlineTitle, self.db, None),
        lambda self, title: kx.RV_SetOutlineTitle(self.db, title),
    )

    def __len__(self):
        return kx.RV_GetSize(self.db)

    def __getitem__(self, index):
        if not 0 <= index < len(self):
            raise IndexError(index)
        return Item(kx.RV_GetRecord(self.db, index))

    def add(self, number, text, level=0):
        item = Item(kx.RV_AppendRecordSet(self.db))
        kx.RV_SetId(item.handle, number)
        kx.RV_SetText(item.handle, text)
        kx.RV_SetIndent(item.handle, level)
        kx.RV_SetNew(item.handle, 1)
        return item

    def delete(self, item):
        """Deletes an item and remembers its id for synchronisation."""
        if item.id != 0:
            kx.RV_AddDeletedId(self.db, item.id)
        kx.RV_Delete(self.db, item.handle)

    def is_deleted(self, number):
        return kx.RV_IsDeletedId(self.db, number) == 1
