#!/usr/bin/env python3
"""A walk through the flat interface of KX_FileIO. Works in the current folder, which should be
empty. KX_FILEIO may name the library; README.md tells more.
"""

import pathlib
import struct

from kx_fileio import CREATE, Document, KxError, kx, text_of


def bitmap(rows):
    """A 24-bit device-independent bitmap of rows of (red, green, blue), the top row first."""
    lines = [b"".join(bytes((blue, green, red)) for red, green, blue in row) for row in rows]
    pixels = b"".join(line + bytes(-len(line) % 4) for line in reversed(lines))
    # The image size, here len(pixels), must not be 0.
    return struct.pack("<IiiHHIIiiII", 40, len(rows[0]), len(rows), 1, 24, 0, len(pixels),
                       0, 0, 0, 0) + pixels


RED, BLUE = (255, 0, 0), (0, 0, 255)
FLAG = [[RED, RED, RED], [BLUE, BLUE, BLUE]]


def make_document():
    with Document("journey.kxo", CREATE) as document:
        document.title = "My journey"
        document.category = "Travel"
        root = document.add(1, "Journey")
        root.note = "by train\nor by ship"
        city = document.add(2, "Kyōto 京都", level=1)
        city.check()
        city.drawing = bitmap(FLAG)
        document.delete(document.add(3, "changed my mind", level=1))
        document.save()


def show_document():
    with Document("journey.kxo") as document:
        document.read()
        print(f"{document.title} ({document.category})")
        for item in document:
            mark = "x" if item.checked else "-"
            print(f"{'  ' * item.level}{mark} {item.text}", end="")
            print(f" [{item.note!r}]" if item.note else "", end="")
            width, height = item.drawing_size
            print(f" [drawing of {width} by {height}]" if item.drawing else "")
        assert document.is_deleted(3) and not document.is_deleted(2)
        # A drawing comes back as it went in, but for the image size.
        given, got = bitmap(FLAG), document[1].drawing
        assert got[:20] == given[:20] and got[40:len(given)] == given[40:]


def make_folder(count):
    for number in range(count):
        with Document(f"doc{number:02}.kxo", CREATE) as document:
            document.category = "Work" if number % 2 == 0 else "Play"
            document.add(1, f"item of document {number}")
            document.save()


def categories_of_folder():
    found = {}
    for path in sorted(pathlib.Path().glob("doc*.kxo")):
        with Document(path) as document:
            found[document.category] = found.get(document.category, 0) + 1
    return found


def make_categories():
    categories = kx.RV_CreateCategoryDB()
    kx.RV_OpenCategoryFile(categories, "categories.db", 2)  # 2 creates
    kx.RV_CategoryInitNewDataBase(categories)
    for name in ("Work", "Play"):
        kx.RV_AddNewCategorybyName(categories, name)
    kx.RV_WriteAllCategoryHeaders(categories)
    kx.RV_CategoryWriteRows(categories)
    kx.RV_DeleteCategoryDB(categories)


def rename_category(old, new):
    """Renames a category in the category file and in every document of the folder."""
    categories = kx.RV_CreateCategoryDB()
    try:
        kx.RV_OpenCategoryFile(categories, "categories.db", 3)  # 3 reads and writes
        kx.RV_CategoryReadRows(categories)
        kx.RV_RenameCategory(categories, old, new)
        kx.RV_CategoryWriteRows(categories)
        names = [text_of(kx.RV_GetIterCategoryName, categories, None, slot)
                 for slot in range(kx.RV_GetCategoryRecordSize(categories))]
        assert kx.RV_GetIterator(categories).slot == 0
    finally:
        kx.RV_DeleteCategoryDB(categories)
    kx.KX_UpdateCategory(".", "kxo", old, new)
    return names


def meet_damage():
    whole = pathlib.Path("journey.kxo").read_bytes()
    pathlib.Path("damaged.kxo").write_bytes(whole[:-40])
    with Document("damaged.kxo") as document:
        try:
            document.read()
        except KxError as error:
            print(f"damaged.kxo: {error} (number {error.number})")
        print(f"what could be read: {document[0].text}")
    pathlib.Path("foreign.kxo").write_text("this is no document", encoding="utf-8")
    try:
        Document("foreign.kxo")
    except KxError as error:
        print(error)


def main():
    kx.KX_SetUnfiledCategoryName("Unfiled")
    make_document()
    show_document()
    make_folder(50)
    make_categories()
    print("before:", categories_of_folder())
    print("categories:", rename_category("Work", "Labour"))
    print("after: ", categories_of_folder())
    meet_damage()
    print("still alive")


if __name__ == "__main__":
    main()
