/* Collections of entities (the model's own, a group's, a component definition's), their edges and faces. */
#pragma once

#include <SketchUpAPI/common.h>
#include <SketchUpAPI/geometry.h>

#ifdef __cplusplus
extern "C" {
#endif

enum SUResult SUEntitiesFill(SUEntitiesRef entities, SUGeometryInputRef geom_input, bool weld_vertices);
/* The collection takes the group or the instance over. */
enum SUResult SUEntitiesAddGroup(SUEntitiesRef entities, SUGroupRef group);
/* `name`, when not null, receives the name that the instance got. */
enum SUResult SUEntitiesAddInstance(SUEntitiesRef entities, SUComponentInstanceRef instance, SUStringRef* name);
/* Stand-alone edges are those of no face. */
enum SUResult SUEntitiesGetNumEdges(SUEntitiesRef entities, bool standalone_only, size_t* count);
enum SUResult SUEntitiesGetEdges(SUEntitiesRef entities, bool standalone_only, size_t len, SUEdgeRef edges[],
                                 size_t* count);

enum SUResult SUEdgeGetNumFaces(SUEdgeRef edge, size_t* count);
enum SUResult SUEdgeGetFaces(SUEdgeRef edge, size_t len, SUFaceRef faces[], size_t* count);
enum SUResult SUEdgeSetSoft(SUEdgeRef edge, bool soft_flag);
enum SUResult SUEdgeSetSmooth(SUEdgeRef edge, bool smooth_flag);

enum SUResult SUFaceGetNormal(SUFaceRef face, struct SUVector3D* normal);

#ifdef __cplusplus
}
#endif
