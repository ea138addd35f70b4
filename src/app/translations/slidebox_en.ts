<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="en">
<context>
    <name>AlbumViewer</name>
    <message>
        <source>Current image of the library</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Position in the library</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Previous image (Ctrl+Left)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Next image (Ctrl+Right)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Slide Show</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Start or stop the slide show</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Show Folder</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Show the library&apos;s folder in the file manager</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>AppDelegate</name>
    <message>
        <source>Main window</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Floating window, above the other windows</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Normal window</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Icon in the panel, window under the panel</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The main window changes at once; the list of libraries stays.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Done</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&lt;h2&gt;Slidebox&lt;/h2&gt;
&lt;p&gt;Slidebox keeps a list of your iPhoto libraries and makes iPhoto work on the one you pick.&lt;/p&gt;
&lt;h3&gt;The list&lt;/h3&gt;
&lt;p&gt;At the first start the libraries in your Pictures folder are listed. &lt;b&gt;Add…&lt;/b&gt; lists the libraries of the folders you choose; &lt;b&gt;Remove&lt;/b&gt; takes the selected library off the list and leaves its folder on the disk.&lt;/p&gt;
&lt;h3&gt;Viewing&lt;/h3&gt;
&lt;p&gt;The selected library shows its pictures one at a time. Step with the arrow buttons (Ctrl+Left, Ctrl+Right), drag the slider, or start the slide show. To choose the picture that stands for a library in the list, bring that picture up and hold Ctrl while you move to another row.&lt;/p&gt;
&lt;h3&gt;Switching iPhoto&lt;/h3&gt;
&lt;p&gt;Double-click a library, or press &lt;b&gt;Open in iPhoto&lt;/b&gt;: iPhoto is quit if it runs and started again on that library. &lt;b&gt;New Library…&lt;/b&gt; makes an empty folder in your Pictures folder and starts iPhoto on it, which makes the library there.&lt;/p&gt;
&lt;h3&gt;Window&lt;/h3&gt;
&lt;p&gt;In the preferences the main window can float above the others or be a normal window.&lt;/p&gt;</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>A list of your iPhoto libraries, a slide view of each, and iPhoto switched to the one you pick.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Slidebox</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Preferences…</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Slidebox &amp;Help</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Slidebox &amp;Home Page</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;About Slidebox</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Slidebox Preferences</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Slidebox Help</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>About Slidebox</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Version %1</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>UIController</name>
    <message>
        <source>Slidebox</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Add…</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Remove</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>New Library…</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rescan</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Hide</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Open in iPhoto</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Name of the new Library:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>iPhoto starts on the new empty folder and makes the library in it.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Create</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>New Library</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>localized</name>
    <message>
        <source>Remove Library&apos;s reference</source>
        <translation>Remove Library&apos;s reference</translation>
    </message>
    <message>
        <source>Do you want to remove the Library&apos;s reference ?</source>
        <translation>Do you want to remove the Library&apos;s reference ?</translation>
    </message>
    <message>
        <source>Keep Library</source>
        <translation>Keep Library</translation>
    </message>
    <message>
        <source>Remove Only Reference</source>
        <translation>Remove Only Reference</translation>
    </message>
    <message>
        <source>List of iPhoto Libraries</source>
        <translation>List of iPhoto Libraries</translation>
    </message>
    <message>
        <source>Launch iPhoto with the selected Library</source>
        <translation>Launch iPhoto with the selected Library</translation>
    </message>
    <message>
        <source>Launch iPhoto with a new Empty Library</source>
        <translation>Launch iPhoto with a new Empty Library</translation>
    </message>
    <message>
        <source>Remove the selected Library from the List</source>
        <translation>Remove the selected Library from the List</translation>
    </message>
    <message>
        <source>Close the window or the application</source>
        <translation>Close the window or the application</translation>
    </message>
    <message>
        <source>Add an existing Library into the List</source>
        <translation>Add an existing Library into the List</translation>
    </message>
    <message>
        <source>Name of the selected album (Folder name)</source>
        <translation>Name of the selected album (Folder name)</translation>
    </message>
    <message>
        <source>Look again at the pictures of the selected Library</source>
        <translation>Look again at the pictures of the selected Library</translation>
    </message>
    <message>
        <source>Library</source>
        <translation>Library</translation>
    </message>
    <message>
        <source>Libraries</source>
        <translation>Libraries</translation>
    </message>
    <message>
        <source>Type a name for the new Library.</source>
        <translation>Type a name for the new Library.</translation>
    </message>
    <message>
        <source>“.” and “..” can&apos;t name a folder.</source>
        <translation>“.” and “..” can&apos;t name a folder.</translation>
    </message>
    <message>
        <source>A name can&apos;t hold “/”: the Library is made in the Pictures folder.</source>
        <translation>A name can&apos;t hold “/”: the Library is made in the Pictures folder.</translation>
    </message>
    <message>
        <source>This name is too long for a folder.</source>
        <translation>This name is too long for a folder.</translation>
    </message>
    <message>
        <source>No iPhoto Library was found in “%1”.</source>
        <translation>No iPhoto Library was found in “%1”.</translation>
    </message>
    <message>
        <source>The Library “%1” is no longer on the disk.</source>
        <translation>The Library “%1” is no longer on the disk.</translation>
    </message>
    <message>
        <source>“%1” is not an iPhoto Library.</source>
        <translation>“%1” is not an iPhoto Library.</translation>
    </message>
    <message>
        <source>The path of “%1” can&apos;t be written into iPhoto&apos;s preferences.</source>
        <translation>The path of “%1” can&apos;t be written into iPhoto&apos;s preferences.</translation>
    </message>
    <message>
        <source>iPhoto was not switched to “%1”: %2</source>
        <translation>iPhoto was not switched to “%1”: %2</translation>
    </message>
    <message>
        <source>iPhoto was not found: it can&apos;t be started on the Library.</source>
        <translation>iPhoto was not found: it can&apos;t be started on the Library.</translation>
    </message>
    <message>
        <source>iPhoto&apos;s preference file is missing: iPhoto opens its own Library.</source>
        <translation>iPhoto&apos;s preference file is missing: iPhoto opens its own Library.</translation>
    </message>
    <message>
        <source>iPhoto&apos;s preference file can&apos;t be read: iPhoto opens its own Library.</source>
        <translation>iPhoto&apos;s preference file can&apos;t be read: iPhoto opens its own Library.</translation>
    </message>
</context>
<context>
    <name>StatusItem</name>
    <message>
        <source>Show or hide Slidebox</source>
        <translation>Show or hide Slidebox</translation>
    </message>
    <message>
        <source>Show Slidebox</source>
        <translation>Show Slidebox</translation>
    </message>
    <message>
        <source>Hide Slidebox</source>
        <translation>Hide Slidebox</translation>
    </message>
    <message>
        <source>Preferences...</source>
        <translation>Preferences...</translation>
    </message>
    <message>
        <source>Quit Slidebox</source>
        <translation>Quit Slidebox</translation>
    </message>
</context>
</TS>
